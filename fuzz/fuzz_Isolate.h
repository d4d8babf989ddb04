#pragma once

#include <functional>

/// Runs the work in a child process first, so that what it does to HDF5 cannot end the program: HDF5 itself
/// fails on some hostile files, and that is no finding about us.
///
/// A child that dies in HDF5, by a fault or by taking too long, answers false, and its place in HDF5 is told
/// when the program ends. One that dies anywhere else, or over memory that HDF5 was given by us, stops the
/// program with the child's report. \return true when the work is safe to be done here.
bool fuzz_Survives(const std::function<void()>& work);

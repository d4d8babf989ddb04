#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

/// Does the work in a child process first, so that what it does to HDF5 cannot end the program: HDF5 itself
/// fails on some hostile files, and that is no finding about us. What survives there is done here, where it
/// is seen which code it reaches.
///
/// A child that dies in HDF5, by a fault or by taking too long, ends the matter; its place in HDF5 is told
/// when the program ends. One that dies anywhere else, or over memory that HDF5 was given by us, stops the
/// program with the child's report, unless the same input fails in HDF5 when a new process is given it:
/// memory that HDF5 has read or written where it must not is another in each process, and so is what comes of
/// it. `data` and `size` are the input.
///
/// With PDM_FUZZ_HERE in the environment there is no child, and whatever happens is told as it happens.
void fuzz_Run(const std::function<void()>& work, const std::uint8_t* data, std::size_t size);

#pragma once

/// The place where an array keeps its elements: the simulation file.
/// Threads: any number; it holds nothing.
struct gbb_Repository {};

#pragma once

/// The place where an array keeps its elements: the simulation file.
struct gbb_Repository {};

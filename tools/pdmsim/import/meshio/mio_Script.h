#pragma once

/// A program in Python: mio_kScript FORMAT PATH writes the mesh to standard output as mio_Format.cpp reads
/// it, or a line that begins with ERROR.
extern const char mio_kScript[];

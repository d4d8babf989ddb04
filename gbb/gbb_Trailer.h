#pragma once

/// What stands directly behind a member stream in its dataset: a mark and the stream's checksum.
///
/// Readers that go by the stream's stated length never see it.
/// Threads: any number.
namespace gbb_Trailer {
inline constexpr int kSize = 12; // the mark, then XXH3 with 64 bits, least significant byte first

/// Stores the trailer of a stream.
/// \param to  kSize bytes.
void Store(unsigned char* to, const unsigned char* stream, int length);
/// False when the bytes of a member dataset are a stream of ours that was damaged. True for whole ones, and
/// for those without a trailer, of which nothing can be said.
bool Agrees(const unsigned char* bytes, int length);
} // namespace gbb_Trailer

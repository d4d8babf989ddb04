#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils_Export.h>

// The error output stream: where every diagnostic and trace line of the library goes. By default the
// text is written to descriptor 2 at once, piece by piece, so that nothing is lost when the process
// stops. A host may install a sink of its own.
//
// Threads: all calls may be made from any thread at any time. A piece is written whole, and the pieces up to
// the end of a line stay together: other threads wait until it ends, but not longer than half a second.

/// Receives the pieces of the stream, in whatever thread writes, one call at a time.
/// \param text NUL-terminated, valid during the call only.
/// \param user the pointer given to err_InstallSink. A sink must call nothing of this library, and it must
///     not wait for another thread that may.
using err_Sink = void (*)(const char* text, void* user);

/// Writes a NUL-terminated text; null writes nothing.
UTI_CORE_API void err_Write(const char* text);
/// Writes an integer in decimal.
UTI_CORE_API void err_Write(int value);
/// Writes one character.
UTI_CORE_API void err_Write(char character);
/// Ends a group of pieces. Nothing is ever held back by default; a sink is called with an empty text.
UTI_CORE_API void err_Flush();

/// Sends the stream to a sink in place of descriptor 2. One sink at a time: a second call replaces the
/// first. When this returns, the sink before is not being called and never will be again.
/// \param user handed to each call; stays the host's.
UTI_CORE_API void err_InstallSink(err_Sink sink, void* user);
/// Sends the stream to descriptor 2 again.
UTI_CORE_API void err_RemoveSink();

/// Where one thread's part of the stream goes; without a sink it goes where everybody's does.
struct err_ThreadSink {
  err_Sink sink = nullptr;
  void* user = nullptr;
};
/// Sends what the calling thread writes to a sink of its own, which stands before the host's: for a caller
/// that wants the lines of its own calls and nobody else's. No other thread is concerned or waited for.
/// \param next  handed out until the next exchange in this thread; its `user` stays the caller's.
/// \return the one before, to be put back.
UTI_CORE_API err_ThreadSink err_ExchangeThreadSink(err_ThreadSink next);

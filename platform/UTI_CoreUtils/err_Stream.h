#pragma once

#include <UTI_CoreUtils/UTI_CoreUtils_Export.h>

// The error output stream: where every diagnostic and trace line of the library goes. By default the
// text is written to descriptor 2 at once, piece by piece, so that nothing is lost when the process
// stops. A host may install a sink of its own.

/// Receives the pieces of the stream. \param text NUL-terminated, valid during the call only.
/// \param user the pointer given to err_InstallSink. A sink must not write to the stream itself.
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
/// first. \param user handed to each call; stays the host's.
UTI_CORE_API void err_InstallSink(err_Sink sink, void* user);
/// Sends the stream to descriptor 2 again.
UTI_CORE_API void err_RemoveSink();

#pragma once

#include <UTI_CoreUtils/err_Stream.h>

#include <string>

/// Collects what is written to the error stream while it lives.
class err_Capture {
 public:
  err_Capture() {
    err_InstallSink([](const char* text, void* self) { static_cast<err_Capture*>(self)->m_text += text; },
                    this);
  }
  err_Capture(const err_Capture&) = delete;
  err_Capture& operator=(const err_Capture&) = delete;
  ~err_Capture() { err_RemoveSink(); }

  /// The text since construction or the last call.
  std::string Take() {
    std::string text;
    text.swap(m_text);
    return text;
  }

 private:
  std::string m_text;
};

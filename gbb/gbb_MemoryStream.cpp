#include <gbb/gbb_MemoryStream.h>

gbb_MemoryStream::gbb_MemoryStream(ORXSimContextID context) : m_context(context) {
  Start();
}

gbb_MemoryStream::gbb_MemoryStream(Buffer buffer, ORXSimContextID context, Error error)
    : m_context(context), m_buffer(buffer), m_position(0), m_error(error), m_limit(m_buffer.Length()) {
  int stated = 0;
  Read(stated);
  if (m_error == kGood && (stated < kHeaderSize || stated > m_limit))
    m_error = kPastLimit;
  if (m_error == kGood)
    m_limit = stated;
}

gbb_MemoryStream::~gbb_MemoryStream() = default;

void gbb_MemoryStream::Start() {
  m_position = kHeaderSize;
  m_error = kGood;
  m_limit = 0;
  Write(kHeaderSize);
}

void gbb_MemoryStream::Reserve(int n) {
  if (n > 0 && n <= INT_MAX - m_buffer.Length())
    m_buffer.Reserve(m_buffer.Length() + n);
}

void gbb_MemoryStream::Write(const kda_string& value) {
  WriteTogether(value);
}

void gbb_MemoryStream::Read(bool& value) {
  unsigned char byte = 0;
  Read(byte);
  if (m_error == kGood)
    value = byte != 0;
}

void gbb_MemoryStream::Read(kda_string& value) {
  int length = 0;
  Read(length);
  if (const unsigned char* const from = Take(length))
    value = kda_string(reinterpret_cast<const char*>(from), length);
}

void gbb_MemoryStream::Read(Shape shape, Base base) {
  unsigned char tag = 0;
  Read(tag);
  if (m_error == kGood && tag != Tag(shape, base))
    m_error = kWrongTag;
}

gbb_MemoryStream::Buffer gbb_MemoryStream::GetBuffer() {
  const int length = m_buffer.Length();
  if (length < kHeaderSize) { // what was taken over for reading was no stream
    m_buffer.RemoveLast(length);
    Start();
    return GetBuffer();
  }
  gbb_StoreNumber(m_buffer.Data(), length, m_swap);
  Buffer buffer(std::move(m_buffer));
  Start();
  return buffer;
}

#include <UTI_BasicUtils/cow_String.h>

#include <UTI_CoreUtils/UTI_CoreUtils.h>

#include <atomic>
#include <cstring>
#include <new>

// The characters follow the header in the same block.
struct cow_String::Rep {
  std::atomic<int> references{1};
  std::size_t length = 0;

  char* Text() { return reinterpret_cast<char*>(this + 1); }

  static Rep* Make(const char* head, std::size_t headLength, const char* tail, std::size_t tailLength) {
    const std::size_t length = headLength + tailLength;
    if (length == 0)
      return nullptr;
    Rep* rep = new (mem_OperatorNewThrow(sizeof(Rep) + length + 1)) Rep;
    rep->length = length;
    if (headLength != 0)
      std::memcpy(rep->Text(), head, headLength);
    if (tailLength != 0)
      std::memcpy(rep->Text() + headLength, tail, tailLength);
    rep->Text()[length] = '\0';
    return rep;
  }

  static void Release(Rep* rep) {
    if (rep != nullptr && rep->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      rep->~Rep();
      mem_Free(rep);
    }
  }
};

cow_String::cow_String(const char* text) : cow_String(text, text == nullptr ? 0 : std::strlen(text)) {}

cow_String::cow_String(const char* text, std::size_t length) : m_rep(Rep::Make(text, length, nullptr, 0)) {}

cow_String::cow_String(const cow_String& other) noexcept : m_rep(other.m_rep) {
  if (m_rep != nullptr)
    m_rep->references.fetch_add(1, std::memory_order_relaxed);
}

cow_String& cow_String::operator=(const cow_String& other) noexcept {
  return *this = cow_String(other);
}

cow_String& cow_String::operator=(cow_String&& other) noexcept {
  Rep* const taken = other.m_rep;
  other.m_rep = nullptr;
  Rep::Release(m_rep);
  m_rep = taken;
  return *this;
}

cow_String::~cow_String() {
  Rep::Release(m_rep);
}

const char* cow_String::CStr() const noexcept {
  return m_rep == nullptr ? "" : m_rep->Text();
}

std::size_t cow_String::Length() const noexcept {
  return m_rep == nullptr ? 0 : m_rep->length;
}

void cow_String::Append(const char* text) {
  if (text == nullptr || *text == '\0')
    return;
  Rep* const longer = Rep::Make(CStr(), Length(), text, std::strlen(text));
  Rep::Release(m_rep);
  m_rep = longer;
}

bool operator==(const cow_String& a, const cow_String& b) noexcept {
  return a.m_rep == b.m_rep || (a.Length() == b.Length() && std::memcmp(a.CStr(), b.CStr(), a.Length()) == 0);
}

void err_Write(const cow_String& text) {
  err_Write(text.CStr());
}

#include <gbb/gbb_Handle.h>

#include <UTI_CoreUtils/err_Stream.h>

#include <algorithm>
#include <cstring>

gbb_Handle::gbb_Handle(void* object, gbb_Class objectClass) : m_class(objectClass) {
  std::memcpy(m_data, &object, sizeof object);
}

gbb_Handle::gbb_Handle(const void* data, int size, gbb_Class objectClass) : m_class(objectClass) {
  if (size > kMaxSize) {
    err_Write("** ERROR: gbb_Handle::gbb_Handle: size of data ");
    err_Write(size);
    err_Write(" larger than the maximum size ");
    err_Write(kMaxSize);
    err_Write("\n");
    err_Flush();
  }
  if (size > 0)
    std::memcpy(m_data, data, static_cast<std::size_t>(std::min(size, kMaxSize)));
}

void* gbb_Handle::Object() const {
  void* object = nullptr;
  std::memcpy(&object, m_data, sizeof object);
  return object;
}

bool gbb_Handle::Equal(const gbb_Handle& other) const {
  return std::memcmp(m_data, other.m_data, kMaxSize) == 0;
}

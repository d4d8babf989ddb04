#include <gbb/gbb_Class.h>

#include <UTI_CoreUtils/mem_AtFork.h>

#include <UTI_CoreUtils/err_Stream.h>

#include <cstring>
#include <mutex>
#include <new>

namespace {
constinit std::mutex s_filling; // taken by those who fill a descriptor

// A child made by fork() finds it free, whatever other threads of its parent were at.
void freeInChild() {
  new (&s_filling) std::mutex;
}
constinit mem_AtFork s_fork(nullptr, nullptr, &freeInChild);
} // namespace

gbb_ClassID::gbb_ClassID(const char* name) {
  std::memcpy(text, name, ::strnlen(name, kSize));
}

void gbb_ClassID::Print() const {
  char terminated[kSize + 1] = {};
  std::memcpy(terminated, text, kSize);
  err_Write(terminated);
}

bool operator==(const gbb_ClassID& a, const gbb_ClassID& b) {
  return BtreeCompare(a, b) == 0;
}

int BtreeCompare(const gbb_ClassID& a, const gbb_ClassID& b) {
  const int order = std::strncmp(a.text, b.text, gbb_ClassID::kSize);
  return (order > 0) - (order < 0);
}

gbb_Class gbb_Class::Define(gbb_ClassDescriptor& descriptor, const char* name, gbb_Class parent,
                            gbb_ClassDescriptor::OpenFunction open) {
  if (descriptor.initialised.load(std::memory_order_acquire))
    return gbb_Class(&descriptor);
  s_fork.Tell();
  const std::lock_guard lock(s_filling);
  if (!descriptor.initialised.load(std::memory_order_relaxed)) {
    descriptor.classID = gbb_ClassID(name);
    descriptor.parent = parent.m_descriptor;
    descriptor.open = open;
    descriptor.initialised.store(true, std::memory_order_release);
  }
  return gbb_Class(&descriptor);
}

gbb_ClassID gbb_Class::ClassID() const {
  return m_descriptor == nullptr ? gbb_ClassID() : m_descriptor->classID;
}

gbb_Class gbb_Class::Parent() const {
  return gbb_Class(m_descriptor == nullptr ? nullptr : m_descriptor->parent);
}

bool gbb_Class::IsA(gbb_Class other) const {
  for (const gbb_ClassDescriptor* at = m_descriptor; at != nullptr; at = at->parent)
    if (at == other.m_descriptor)
      return true;
  return false;
}

gbb_ObjectInterface* gbb_Class::Open(const gbb_Path& parent, int index, const gbb_Group& group,
                                     int trace) const {
  if (m_descriptor == nullptr) {
    err_Write("**ERROR: gbb_Class::Open: called on an uninitialized class handle\n");
    return nullptr;
  }
  if (m_descriptor->open == nullptr) {
    err_Write("**ERROR: gbb_Class::Open: called on an abstract class\n");
    return nullptr;
  }
  return m_descriptor->open(parent, index, group, trace);
}

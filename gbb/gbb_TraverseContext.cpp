#include <gbb/gbb_TraverseContext.h>

#include <cstring>
#include <string_view>

gbb_TraverseContext::gbb_TraverseContext(const char* target, gbb_Path origin, unsigned flags,
                                         gbb_TraverseVisitor* visitor)
    : m_counts{1, 0}, m_flags(flags), m_visitor(visitor), m_origin(origin) {
  const char* const mark = std::strchr(target, '#');
  Append(target, mark != nullptr ? mark : target);
  for (const char* at = mark != nullptr ? mark + 1 : target; *at != '\0';) {
    const char* const end = at + std::strcspn(at, "/");
    Follow(at, end);
    at = *end == '/' ? end + 1 : end;
  }
}

gbb_TraverseContext::~gbb_TraverseContext() = default;

void gbb_TraverseContext::Append(const char* from, const char* end) {
  const auto length = static_cast<std::size_t>(end - from);
  char* const to = m_components.Extend(static_cast<int>(length) + 1);
  std::memcpy(to, from, length);
  to[length] = '\0';
}

// One part of the path: nothing and "." stay here, ".." goes one back, as far as there is something.
void gbb_TraverseContext::Follow(const char* from, const char* end) {
  const std::string_view part(from, static_cast<std::size_t>(end - from));
  if (part == "..") {
    if (m_counts[1] == 0)
      return;
    --m_counts[1];
    do
      m_components.RemoveLast(1);
    while (m_components[m_components.Length() - 1] != '\0');
  } else if (!part.empty() && part != ".") {
    Append(from, end);
    ++m_counts[1];
  }
}

bool gbb_TraverseContext::Advance() {
  ++m_step;
  if (m_phase == 0 && m_step == m_counts[0]) {
    m_phase = 1;
    m_step = 0;
  }
  if (m_phase == 1 && m_step == m_counts[1]) {
    m_phase = 0;
    m_step = -1;
  }
  return m_step >= 0;
}

const char* gbb_TraverseContext::Component() const {
  if (m_step < 0)
    return "";
  const char* at = m_components.Data();
  for (int skipped = m_phase == 0 ? 0 : m_step + 1; skipped > 0; --skipped)
    at += std::strlen(at) + 1;
  return at;
}

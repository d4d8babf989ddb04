#include <gbb/gbb_TraverseContext.h>

#include <string>
#include <string_view>
#include <vector>

struct gbb_TraverseContext::Components {
  std::string where;
  std::vector<std::string> path;
};

namespace {

std::vector<std::string> normalised(std::string_view path) {
  std::vector<std::string> components;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string_view part = path.substr(start, end - start);
    start = end + 1;
    if (part == ".." && !components.empty())
      components.pop_back();
    else if (!part.empty() && part != "." && part != "..")
      components.emplace_back(part);
  }
  return components;
}

} // namespace

gbb_TraverseContext::gbb_TraverseContext(const char* target, gbb_Path origin, unsigned flags,
                                         gbb_TraverseVisitor* visitor)
    : m_counts{1, 0}, m_flags(flags), m_visitor(visitor), m_origin(origin),
      m_components(std::make_unique<Components>()) {
  std::string_view text(target);
  if (const std::size_t mark = text.find('#'); mark != std::string_view::npos) {
    m_components->where = text.substr(0, mark);
    text.remove_prefix(mark + 1);
  }
  m_components->path = normalised(text);
  m_counts[1] = static_cast<int>(m_components->path.size());
}

gbb_TraverseContext::~gbb_TraverseContext() = default;

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
  return m_phase == 0 ? m_components->where.c_str()
                      : m_components->path[static_cast<std::size_t>(m_step)].c_str();
}

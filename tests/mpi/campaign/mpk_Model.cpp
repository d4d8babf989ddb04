#include <mpi/campaign/mpk_Model.h>

#include <numeric>

namespace {
constexpr int kSpoilt = 1 << 20; // no step
}

unsigned mpk_Model::Mix(int step, int drawer) {
  unsigned x = static_cast<unsigned>(step) * 2654435761u + static_cast<unsigned>(drawer) * 40503u;
  x = (x ^ (x >> 15)) * 2246822519u;
  return x ^ (x >> 13);
}

mpk_Model::mpk_Model(int step) {
  while (m_step < step)
    Advance();
}

int mpk_Model::Drawers() const {
  int drawers = 0;
  while (drawers < kMpkDrawers && kMpkShapes[drawers].birth <= m_step)
    ++drawers;
  return drawers;
}

bool mpk_Model::Writes(int step, int drawer) {
  const int birth = kMpkShapes[drawer].birth;
  return birth == step || (birth < step && Mix(step, drawer) % 3 == 0);
}

int mpk_Model::Touches(int step, int drawer) {
  const mpk_Shape& shape = kMpkShapes[drawer];
  if (shape.birth >= step || Writes(step, drawer) || Mix(step, drawer) % 3 == 1)
    return -1;
  return static_cast<int>(Mix(step + 7, drawer) % static_cast<unsigned>(shape.rows));
}

void mpk_Model::Advance() {
  ++m_step;
  for (int drawer = 0; drawer < Drawers(); ++drawer)
    if (Writes(m_step, drawer))
      m_drawers[drawer] = {m_step, {}};
    else if (const int row = Touches(m_step, drawer); row >= 0)
      m_drawers[drawer].rows[row] = m_step;
  m_drawers[0] = {m_step, {}};
}

void mpk_Model::Spoil() {
  for (Content& content : m_drawers)
    content = {kSpoilt + m_step, {}};
}

double mpk_Model::Number(int drawer, int row, int component) const {
  const Content& content = m_drawers[drawer];
  const auto touched = content.rows.find(row);
  const double version = touched != content.rows.end() ? touched->second : content.whole;
  return drawer == 0 ? version : ((version * 16 + drawer) * (1 << 20) + row) * 4 + component;
}

std::vector<double> mpk_Model::Numbers(int drawer, const std::vector<std::int32_t>& rows) const {
  std::vector<double> numbers;
  for (const std::int32_t row : rows)
    for (int i = 0; i < kMpkShapes[drawer].components; ++i)
      numbers.push_back(Number(drawer, row, i));
  return numbers;
}

int mpk_Model::Check(ORXSimContextID context, std::string& cause) {
  const ORXSimDistributionRef field(ORXSimStore(context).FindDistribution(cow_String("field")));
  double step = 0;
  if (!field.ReadItems(0, 0, 1, &step, sizeof step))
    return cause = ORXSimManager::LastError(), -1;
  const mpk_Model model(static_cast<int>(step));
  const auto told = [&](int drawer, const std::string& what) {
    return cause =
               "step " + std::to_string(model.Step()) + ", drawer " + std::to_string(drawer) + ": " + what,
           -1;
  };
  if (field.NumDrawers() != model.Drawers())
    return told(field.NumDrawers(), "is their number");
  for (int drawer = 0; drawer < model.Drawers(); ++drawer) {
    std::vector<std::int32_t> rows(static_cast<std::size_t>(kMpkShapes[drawer].rows));
    std::iota(rows.begin(), rows.end(), 0);
    const std::vector<double> expected = model.Numbers(drawer, rows);
    std::vector<double> found(expected.size());
    if (!field.ReadItems(drawer, 0, static_cast<int>(rows.size()), found.data(),
                         static_cast<std::int64_t>(found.size() * sizeof found[0])))
      return told(drawer, ORXSimManager::LastError());
    for (std::size_t i = 0; i < found.size(); ++i)
      if (found[i] != expected[i])
        return told(drawer, "number " + std::to_string(i) + " is " + std::to_string(found[i]));
    const ORXSimVerification sound = field.Verify(drawer);
    if (!sound.Good() || !sound.hasChecksums || !sound.unwritten.empty())
      return told(drawer, "its checksums do not hold");
  }
  return model.Step();
}

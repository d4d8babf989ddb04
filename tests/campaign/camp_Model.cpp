#include <campaign/camp_Campaigns.h>

#include <PDM_Core.h>

#include <csignal>
#include <filesystem>

namespace {

constexpr camp_Config kConfigs[] = {{"kill-safe", H5J_PROCESS}, {"durable", H5J_POWER}};
constexpr int kSteps = 20;

// A simulation file as a host works on it. What a step does is a function of the seed, its number and the
// model, so two files hold the same after the same steps.
class Model {
 public:
  Model(std::string file, std::uint64_t seed, int option)
      : m_file(std::move(file)), m_seed(seed), m_option(option) {}

  /// Takes step n, one commit point or none.
  bool Step(int n);

 private:
  msfD_Sim Sim() const { return m_root.count() == 1 ? m_root.get(0) : msfD_Sim(); }
  ORXSimContextID Context() const { return Sim().distributionService().Context(); }
  msfD_Mesh Mesh() const { return Sim().discreteModel().mesh(); }
  kda_string Text(int most) {
    std::string text(static_cast<std::size_t>(m_random.Below(most)), ' ');
    for (char& c : text)
      c = static_cast<char>('a' + m_random.Below(26));
    return kda_string(text.c_str());
  }

  bool Build();
  bool Write();
  bool Overwrite();

  std::string m_file;
  std::uint64_t m_seed;
  int m_option;
  camp_Random m_random{0};
  msfD_Root m_root{0};
};

bool Model::Step(int n) {
  m_random = camp_Random(m_seed, static_cast<std::uint64_t>(n));
  if (n == 1)
    return !!m_root.createSim(m_file.c_str(), "", m_option) && !Context().IsNull();
  const int kind = m_random.Below(12);
  if (kind == 0 && !!Sim())
    m_root.closeSim(Sim());
  if (!Sim() && !m_root.openSim(m_file.c_str(), "", m_option))
    return false;
  if (n == 2)
    return Build();
  if (kind < 7)
    return Write();
  ORXSimUpdate update(Context());
  bool good = true;
  for (int i = m_random.Between(2, 5); i > 0; --i)
    good = Write() && good;
  return good && (kind < 10 ? update.Commit() : update.Rollback());
}

bool Model::Build() {
  ORXSimUpdate update(Context());
  const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(Context(), "nodes", m_random.Between(20, 400));
  const int some[] = {3, 1, 2};
  const msfD_Mesh mesh =
      Sim().DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New(nodes, {}, 0));
  const bool good = !!mesh && !ORXSimCollectionRef(nodes).CreateOrderedCSet(some, 3).IsNull() &&
                    !!mesh.systems().add(fesD_FESystem::New(Text(40), {}, {}, 0)) &&
                    !!mesh.systems().add(fesD_ModalSystem::New(Text(40), {}, {}, {}, {}, 0));
  return good && Overwrite() && update.Commit();
}

bool Model::Write() {
  const int kind = m_random.Below(100), count = Mesh().systems().count();
  const gbb_Handle system(Mesh().systems().get(m_random.Below(count)));
  const fesD_ModalSystem modal(system);
  if (kind < 12 && count < 8)
    return !!Mesh().systems().add(fesD_ModalSystem::New(Text(40), {}, {}, {}, {}, 0));
  if (kind < 45)
    return Overwrite();
  if (kind < 60 && !!modal)
    return !!modal.events().add(fesD_ModalEvent::New(Text(20), kind, {}, {}, 0));
  if (kind < 80)
    return fesD_FESystem(system).SystemName(Text(kind < 65 ? 20000 : 40)), true;
  kda_MapString<ORXSimCSetID> sets;
  for (int i = m_random.Below(200); i > 0; --i)
    sets.insert(Text(20), {Mesh().nodes(), m_random.Below(2)});
  return Mesh().NodeSets(sets), true;
}

// Some items of the last distribution, or all of a new one.
bool Model::Overwrite() {
  ORXSimUpdate update(Context());
  const bool isNew = ORXSimStore(Context()).Distributions().size() == 0 || m_random.OneIn(3);
  const ORXSimDrawerDescription made{ORXSimCollectionRef(Mesh().nodes()).FullCSet(), ORXSimItemType::kDouble,
                                     m_random.OneIn(3) ? 200 : 2};
  if (isNew && ORXSimDistributionRef::Create(Context(), "field", "m", &made, 1).IsNull())
    return false;
  const ORXSimDistributionRef last(ORXSimStore(Context()).Distributions().back());
  const ORXSimPersistentDrawerDesc drawer = last.Drawer(0);
  const int first = isNew ? 0 : m_random.Below(drawer.Items()), count = drawer.Items() - first;
  std::vector<double> values(static_cast<std::size_t>(count * drawer.Components()));
  for (double& value : values)
    value = static_cast<double>(m_random.Below(1 << 30));
  return last.WriteItems(0, first, count, values.data(), count * drawer.Components() * 8) && update.Commit();
}

// What a closed file holds but for its own identity, which no other has.
std::uint64_t digestOf(const std::string& file) {
  camp_Content content;
  const camp_Handle plain(H5Fopen(file.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
  const bool isRead = plain >= 0 && camp_Content::Read(plain, content);
  content.items.erase(".@file_id");
  return isRead ? content.Digest() : 0;
}

// The way through the steps in a process of its own, with a look at the closed file after each that nobody
// took before. \return as camp_Child::Wait.
int walk(const std::string& file, std::uint64_t seed, int option, camp_Board& board) {
  const auto host = [&] {
    for (std::unique_ptr<Model> model; board.done < kSteps;) {
      const int n = board.begun = board.done + 1;
      if (model == nullptr)
        model = std::make_unique<Model>(file, seed, option);
      if (!model->Step(n))
        return board.Say("step " + std::to_string(n) + " was refused: " + ORXSimManager::LastError());
      if (board.digest[n] == 0) {
        model.reset();
        if ((board.digest[n] = digestOf(file)) == 0)
          return board.Say("what was closed cannot be read");
      }
      board.done = n;
    }
    return true;
  };
  return camp_Child(host).Wait();
}

// One file, and processes that are killed on their way; what it must hold after each step is known from a
// file that nobody disturbed.
bool live(std::uint64_t seed, int option, camp_Random& random, camp_Row& row) {
  const camp_Directory directory;
  const std::string file = directory.File();
  camp_Board& board = row.board;
  std::fill_n(board.digest, kSteps + 1, 0);
  board.Say("");
  board.done = 0;
  camp_Watch(directory.Name(), {.calls = &board.calls});
  if (walk(file, seed, option, board) != 0 || board.done < kSteps)
    return row.Bad(std::string("without a fault: ") + board.message);
  camp_Unwatch();
  directory.Clear();
  board.done = 0;
  for (const std::int64_t calls = board.calls; board.done < kSteps;) {
    ++row.runs;
    camp_Watch(directory.Name(), {.killAt = 1 + random.Below(calls), .random = random});
    const int status = walk(file, seed, option, board);
    camp_Unwatch();
    if (status != -SIGKILL && (status != 0 || board.done < kSteps))
      return row.Bad("ended with " + std::to_string(status) + ' ' + board.message);
    board.found = 0;
    const auto recover = [&] {
      board.Say("no file");
      if (msfD_Root root(0); std::filesystem::exists(file) || board.done > 0)
        board.Say(!root.openSim(file.c_str(), "", option) ? ORXSimManager::LastError() : "another model");
      board.found = digestOf(file);
    };
    const int ended = camp_Child(recover).Wait();
    if (ended != 0 || (board.found != board.digest[board.begun] && board.found != board.digest[board.done]))
      return row.Bad("after step " + std::to_string(board.done) + ": " + board.message);
    if (board.found == board.digest[board.begun])
      board.done = board.begun.load();
  }
  return true;
}

} // namespace

camp_Rows camp_Model(const camp_Options& options) {
  const std::int64_t kills = options.Share(200, std::ssize(kConfigs));
  return camp_ForEachConfig("model", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Random random(options.seed, 55);
    while (row.runs < kills && !options.Enough(row))
      live(random.Next(), config.durability, random, row);
  });
}

#include <campaign/camp_Campaigns.h>
#include <campaign/camp_ModelText.h>

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
  /// The digest of all that it holds, 0 when it is not open.
  std::uint64_t Digest() const { return !Sim() ? 0 : std::hash<std::string>()(camp_ModelText(Sim())) | 1; }
  /// Opens the file for that.
  std::uint64_t Read(bool readOnly);

 private:
  msfD_Sim Sim() const { return m_root.count() == 1 ? m_root.get(0) : msfD_Sim(); }
  ORXSimContextID Context() const { return Sim().distributionService().Context(); }
  msfD_Mesh Mesh() const { return Sim().discreteModel().mesh(); }
  kda_string Text(int most) {
    return kda_string(m_random.Text(static_cast<std::size_t>(m_random.Below(most))).c_str());
  }

  bool Build();
  bool Write();
  bool AddSystem(int kind);
  bool AddDistribution(int components);
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

std::uint64_t Model::Read(bool readOnly) {
  readOnly ? m_root.openSimReadOnly(m_file.c_str(), "", m_option)
           : m_root.openSim(m_file.c_str(), "", m_option);
  return Digest();
}

bool Model::Build() {
  ORXSimUpdate update(Context());
  const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(Context(), "nodes", m_random.Between(20, 400));
  const int some[] = {3, 1, 2};
  const msfD_Mesh mesh =
      Sim().DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New(nodes, {}, 0));
  bool good = !!mesh && !ORXSimCollectionRef(nodes).CreateOrderedCSet(some, 3).IsNull();
  for (int kind = 0; kind < 4; ++kind)
    good = AddSystem(kind) && good;
  return AddDistribution(3) && good && update.Commit();
}

bool Model::Write() {
  const int kind = m_random.Below(100), count = Mesh().systems().count();
  const gbb_Handle system(Mesh().systems().get(m_random.Below(count)));
  const fesD_ModalSystem modal(system);
  if (kind < 12)
    return count > 8 ? Overwrite() : AddSystem(m_random.Below(4));
  if (kind < 24)
    return AddDistribution(m_random.OneIn(3) ? 200 : 2);
  if (kind < 45)
    return Overwrite();
  if (kind < 60 && !!modal)
    return !!modal.events().add(fesD_ModalEvent::New(Text(20), kind, {}, {}, 0));
  if (kind < 80)
    return fesD_FESystem(system).SystemName(Text(kind < 65 ? 20000 : 40)), true;
  kda_MapString<ORXSimCSetID> sets;
  for (int i = m_random.Below(200); i > 0; --i)
    sets.insert(kda_string(m_random.Text(9).c_str()), {Mesh().nodes(), m_random.Below(2)});
  return Mesh().NodeSets(sets), true;
}

bool Model::AddSystem(int kind) {
  const kda_string name = Text(40);
  const auto systems = Mesh().systems();
  return !!(kind == 0   ? systems.add(fesD_FESystem::New(name, {}, {}, 0))
            : kind == 1 ? systems.add(fesD_GenericSystem::New(name, {}, {}, {}, {}, 0))
            : kind == 2 ? systems.add(fesD_ModalSystem::New(name, {}, {}, {}, {}, 0))
                        : systems.add(fesD_SubstructureSystem::New(name, {}, {}, {}, {}, {}, 0)));
}

bool Model::AddDistribution(int components) {
  ORXSimUpdate update(Context());
  const ORXSimDrawerDescription drawer{ORXSimCollectionRef(Mesh().nodes()).FullCSet(),
                                       ORXSimItemType::kDouble, components};
  return !ORXSimDistributionRef::Create(Context(), "field", "m", &drawer, 1).IsNull() && Overwrite() &&
         update.Commit();
}

// Some items of the last distribution, or all.
bool Model::Overwrite() {
  const auto all = ORXSimStore(Context()).Distributions();
  const ORXSimDistributionRef last(all[all.size() - 1]);
  const ORXSimPersistentDrawerDesc drawer = last.Drawer(0);
  const int first = m_random.OneIn(2) ? 0 : m_random.Below(drawer.Items()), count = drawer.Items() - first;
  std::vector<double> values(static_cast<std::size_t>(count * drawer.Components()));
  for (double& value : values)
    value = static_cast<double>(m_random.Below(1 << 30));
  return last.WriteItems(0, first, count, values.data(),
                         static_cast<std::int64_t>(values.size() * sizeof(double)));
}

// The way through all steps in a process of its own. \return as camp_Child::Wait.
int walk(const std::string& file, std::uint64_t seed, int option, camp_Board& board, bool isFirst) {
  return camp_Child([&] {
           Model model(file, seed, option);
           while (board.done < kSteps) {
             const int n = board.begun = board.done + 1;
             if (!model.Step(n))
               return board.Say("step " + std::to_string(n) + " was refused: " + ORXSimManager::LastError());
             if (isFirst)
               board.digest[n] = model.Digest();
             board.done = n;
           }
         })
      .Wait();
}

// One file, and processes that are killed on their way; the model after each step is known from a file that
// nobody disturbed. \return what is wrong.
std::string live(std::uint64_t seed, int option, camp_Random& random, camp_Board& board, camp_Row& row) {
  const camp_Directory directory, other;
  board.Say("");
  board.done = 0;
  camp_Io::Watch(other.Name(), {.calls = &board.calls});
  if (walk(other.File(), seed, option, board, true) != 0 || board.done < kSteps)
    return std::string("without a fault: ") + board.message;
  board.done = 0;
  for (const std::int64_t calls = board.calls; board.done < kSteps;) {
    ++row.runs;
    camp_Io::Watch(directory.Name(), {.killAt = 1 + random.Below(calls), .random = random});
    const int status = walk(directory.File(), seed, option, board, false);
    camp_Io::Stop();
    if (status != -SIGKILL && (status != 0 || board.done < kSteps))
      return "ended with " + std::to_string(status) + ' ' + board.message;
    board.digest[0] = 0;
    const bool readOnly = random.OneIn(2);
    const int look = camp_Child([&] {
                       const bool exists = std::filesystem::exists(directory.File());
                       Model model(directory.File(), seed, option);
                       board.counter[0] = exists ? static_cast<std::int64_t>(model.Read(readOnly)) : 0;
                       board.Say(ORXSimManager::LastError());
                     }).Wait();
    const auto found = static_cast<std::uint64_t>(board.counter[0]);
    if (look != 0 || (found != board.digest[board.begun] && found != board.digest[board.done]))
      return "after step " + std::to_string(board.done) +
             (found == 0 ? ": unreadable: " : ": another model ") + board.message;
    if (found == board.digest[board.begun])
      board.done = board.begun.load();
  }
  return "";
}

} // namespace

camp_Rows camp_Model(const camp_Options& options) {
  const std::int64_t kills = options.Share(200, std::ssize(kConfigs));
  return camp_ForEachConfig("model", kConfigs, options, [&](const camp_Config& config, camp_Row& row) {
    camp_Board& board = camp_Board::New();
    camp_Random random(options.seed, 55);
    while (row.runs < kills && !(options.untilBad && row.bad > 0)) {
      if (const std::string message = live(random.Next(), config.durability, random, board, row);
          !message.empty())
        row.Bad(message);
      row.Progress(kills);
    }
  });
}

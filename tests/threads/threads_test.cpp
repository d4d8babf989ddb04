// Roots of their own in several threads at once. How long: the environment's PDM_THREADS_SECONDS, else a
// second.

#include <H5Journal/H5Journal.h>
#include <PDM_Core.h>
#include <support/err_Capture.h>
#include <support/sys_Directory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <chrono>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {
constexpr int kThreads = 8;

/// Its lines; pieces that are not whole lines show.
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines(1);
  for (const char c : text)
    c == '\n' ? lines.emplace_back() : lines.back() += c;
  EXPECT_EQ(lines.back(), "");
  lines.pop_back();
  return lines;
}

/// Runs f(number of the thread) in kThreads threads that begin together.
template <class F>
void inThreads(F f) {
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number)
    threads.emplace_back([&, number] {
      start.arrive_and_wait();
      f(number);
    });
  for (std::thread& thread : threads)
    thread.join();
}

/// One thread's work: files of its own in a root of its own, over and over.
class Worker {
 public:
  Worker(const sys_Directory& directory, int number)
      : m_number(number), m_first(directory.Path("first" + std::to_string(number))),
        m_second(directory.Path("second" + std::to_string(number))) {}

  void Cycle(int cycle) {
    m_cycle = cycle;
    m_values.resize(3 * 20000u + static_cast<unsigned>(m_number));
    std::iota(m_values.begin(), m_values.end(), 1000.0 * m_number + cycle);
    Fill();
    LookAgain();
    Fail();
  }

 private:
  std::string Name(int i) const {
    return std::to_string(m_number) + '.' + std::to_string(m_cycle) + '.' + std::to_string(i);
  }
  std::int64_t Bytes() const { return static_cast<std::int64_t>(m_values.size() * sizeof(double)); }

  void Fill() {
    msfD_Root root(0);
    const msfD_Sim sim = root.createSim(m_first.c_str(), "a", m_cycle % 2);
    const ORXSimContextID context = sim.distributionService().Context();
    const auto rows = static_cast<int>(m_values.size());
    const ORXSimCollectionID nodes = ORXSimCollectionRef::Create(context, "nodes", rows);
    const msfD_Mesh mesh =
        sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New(nodes, nodes, 0));
    const ORXSimDrawerDescription drawer{ORXSimCollectionRef(nodes).FullCSet(), ORXSimItemType::kDouble};
    const auto field = ORXSimDistributionRef::Create(context, Name(0).c_str(), "m", &drawer, 1);
    kda_MapString<ORXSimDistributionID> fields;
    fields.insert("field", field);
    {
      ORXSimUpdate update(context);
      mesh.NodeFields(fields);
      for (int i = 0; i < 20; ++i)
        mesh.systems().add(fesD_FESystem::New(Name(i).c_str(), field, {}, 0));
      ASSERT_TRUE(ORXSimDistributionRef(field).WriteItems(0, 0, rows, m_values.data(), Bytes()));
      ASSERT_TRUE(update.Commit()) << ORXSimManager::LastError();
    }
    if (m_cycle % 2 == 1) { // with a journal
      ORXSimUpdate update(context);
      mesh.systems().get(3).SystemName("never");
      mesh.systems().add(fesD_FESystem::New("never", {}, {}, 0));
      ASSERT_TRUE(update.Rollback()) << ORXSimManager::LastError();
    }
    const msfD_Sim other = root.createSim(m_second.c_str(), "b", -1);
    other.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0));
    EXPECT_TRUE(msfD_Mesh(gbb_SimpleLink(other.Path(), "a#/discreteModel/mesh").Get(0)) == mesh);
    root.closeSim(sim);
    EXPECT_EQ(root.count(), 1);
  }

  void LookAgain() {
    msfD_Root root(0);
    const msfD_Sim sim = root.openSim(m_first.c_str(), "a", -1);
    const msfD_Mesh mesh = sim.discreteModel().mesh();
    ASSERT_EQ(mesh.systems().count(), 20) << ORXSimManager::LastError();
    for (int i = 0; i < 20; ++i)
      EXPECT_STREQ(mesh.systems().get(i).systemName().cStr(), Name(i).c_str());
    const ORXSimDistributionRef field(mesh.nodeFields().get("field"));
    EXPECT_STREQ(field.Name().CStr(), Name(0).c_str());
    std::vector<double> got(m_values.size());
    EXPECT_TRUE(field.ReadItems(0, 0, static_cast<int>(got.size()), got.data(), Bytes()))
        << ORXSimManager::LastError();
    EXPECT_TRUE(got == m_values);
    EXPECT_TRUE(field.Verify(0).damaged.empty());
  }

  // Every failure is of a file of this thread's.
  void Fail() {
    const std::string none = m_first + ".none", longer = m_first + std::string(400, 'x');
    EXPECT_TRUE(ORXSimManager::OpenContext(none.c_str(), 0, 102, false, 1).IsNull());
    EXPECT_THAT(ORXSimManager::LastError(), StartsWith(none + ": open file: "));
    EXPECT_TRUE(ORXSimManager::CreateContext(longer.c_str(), 0, 102, false, 1).IsNull());
    EXPECT_THAT(ORXSimManager::LastError(), StartsWith(longer + ": create file: "));
    msfD_Root root(0);
    const msfD_Sim sim = root.openSimReadOnly(m_first.c_str(), "a", -1);
    sim.discreteModel().mesh().Regions({}); // a line on the error stream
    EXPECT_THAT(ORXSimManager::LastError(), AllOf(StartsWith(m_first + ": "), HasSubstr("reading only")));
  }

  const int m_number;
  int m_cycle = 0;
  const std::string m_first, m_second;
  std::vector<double> m_values;
};

// H5Journal alone, in a file of its own.
void commitAndGoBack(const std::string& name) {
  const hid_t fapl = H5Pcreate(H5P_FILE_ACCESS);
  ASSERT_GE(H5Pset_fapl_journal(fapl, nullptr), 0);
  for (int cycle = 0; cycle < 20; ++cycle) {
    hid_t file = H5Fcreate(name.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, fapl);
    H5Gclose(H5Gcreate2(file, "kept", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    EXPECT_EQ(H5Jcommit(file), 0) << H5Jlast_error();
    H5Gclose(H5Gcreate2(file, "gone", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    file = H5Jrollback(file);
    EXPECT_TRUE(H5Lexists(file, "kept", H5P_DEFAULT) == 1 && H5Lexists(file, "gone", H5P_DEFAULT) == 0);
    H5J_journal_t journal;
    EXPECT_LT(H5Jinspect((name + ".none").c_str(), &journal), 0);
    EXPECT_STREQ(H5Jlast_error(), "look for the file: No such file or directory");
    EXPECT_EQ(H5Jclose(file), 0) << H5Jlast_error();
    file = H5Fopen(name.c_str(), H5F_ACC_RDONLY, fapl);
    EXPECT_EQ(H5Lexists(file, "kept", H5P_DEFAULT), 1);
    EXPECT_GE(H5Fclose(file), 0);
  }
  H5Pclose(fapl);
}
} // namespace

TEST(Threads, HaveRootsOfTheirOwnWithoutALockOfTheHosts) {
  const char* const wanted = std::getenv("PDM_THREADS_SECONDS");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(wanted ? std::atoi(wanted) : 1);
  const sys_Directory directory;
  err_Capture capture;
  std::atomic<int> cycles = 0, modules = 0;
  inThreads([&](int number) { // the first use of everything is in all of them at once
    int up = 0;
    DDB_PDM_Core_initialize(up);
    modules += up;
    ORXSimManager::SetWaitingTime(1000); // opening lets others in
    Worker worker(directory, number);
    for (int cycle = 0; cycle < 2 || std::chrono::steady_clock::now() < end; ++cycle, ++cycles)
      worker.Cycle(cycle);
  });
  const auto told = linesOf(capture.Take());
  EXPECT_EQ(told.size(), static_cast<std::size_t>(cycles));
  EXPECT_THAT(told, testing::Each(AllOf(StartsWith("**ERROR msfD_Mesh::Regions: " + directory.Path("first")),
                                        testing::EndsWith("the file is open for reading only"))));
  EXPECT_STREQ(ORXSimManager::LastError(), "") << "nothing has failed in this thread";
  int down = 0;
  for (int number = 0; number < kThreads; ++number)
    DDB_PDM_Core_finalize(down);
  EXPECT_EQ(modules, 9);
  EXPECT_EQ(down, -9);
  ::testing::Test::RecordProperty("cycles", cycles);
}

TEST(Threads, WriteWholeLines) {
  err_Capture capture;
  inThreads([](int number) {
    for (int i = 0; i < 50; ++i) {
      err_Write("thread ");
      std::this_thread::yield();
      err_Write(number);
      std::this_thread::yield();
      err_Write('\n');
    }
  });
  const auto told = linesOf(capture.Take());
  EXPECT_EQ(told.size(), 50u * kThreads);
  EXPECT_THAT(told, testing::Each(testing::MatchesRegex("thread [0-7]")));
  // A line that is never ended keeps nobody for long.
  std::thread([] { err_Write("unfinished"); }).join();
  err_Write(" and gone on with\n");
}

TEST(Threads, HaveJournalsOfTheirOwn) {
  hbool_t able = false;
  H5is_library_threadsafe(&able);
  if (!able)
    GTEST_SKIP() << "this HDF5 is not thread-safe";
  const sys_Directory directory;
  inThreads([&](int number) { commitAndGoBack(directory.Path(std::to_string(number))); });
}

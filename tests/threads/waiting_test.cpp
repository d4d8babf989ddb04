// Threads that wait for other processes, and processes that come from other threads' midst.

#include <PDM_Core.h>
#include <support/sys_Directory.h>
#include <support/sys_Process.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {
// A file is made, written and closed.
bool makeFile(const std::string& name) {
  msfD_Root root(0);
  const msfD_Sim sim = root.createSim(name.c_str(), "a", -1);
  const auto systems =
      sim.DiscreteModel(msfD_DiscreteModel::New({}, {}, 0)).Mesh(msfD_Mesh::New({}, {}, 0)).systems();
  for (int i = 0; i < 8; ++i)
    systems.add(fesD_FESystem::New("system", {}, {}, 0));
  return systems.count() == 8 && ORXSimManager::CloseContext(sim.distributionService().Context());
}
} // namespace

TEST(Threads, DoNotWaitWithOneThatWaitsForAFile) {
  const sys_Directory directory;
  const std::string held = directory.Path("held");
  ASSERT_TRUE(makeFile(held));
  sys_Process holder([&](const auto& pause) {
    const ORXSimContextID context = ORXSimManager::OpenContext(held.c_str(), 0, 102, false, 1);
    if (!context.IsNull())
      pause();
  });
  ORXSimManager::SetWaitingTime(10000);
  std::atomic<bool> begun = false;
  std::thread waiting([&] {
    begun = true;
    const ORXSimContextID context = ORXSimManager::OpenContext(held.c_str(), 0, 102, false, 1);
    EXPECT_FALSE(context.IsNull()) << ORXSimManager::LastError();
    EXPECT_TRUE(ORXSimManager::CloseContext(context));
  });
  while (!begun)
    std::this_thread::yield();
  ::usleep(50'000); // it is in the midst of its waiting
  EXPECT_TRUE(makeFile(directory.Path("other")));
  holder.GoOn(); // only now the file becomes free
  waiting.join();
  ORXSimManager::SetWaitingTime(0);
}

TEST(Threads, MayBeInTheMidstOfACallWhenAChildIsMade) {
  int modules = 0;
  DDB_PDM_Core_initialize(modules); // as every host does, so that the first child is a sound one, too
  const sys_Directory directory;
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int number = 0; number < 3; ++number)
    threads.emplace_back([&, number] { // a child has its parent's files as long as it lives: new names
      for (int i = 0; !stop; ++i)
        EXPECT_TRUE(makeFile(directory.Path(std::to_string(number) + '.' + std::to_string(i))))
            << ORXSimManager::LastError();
    });
  for (int i = 0; i < 12 && !HasFailure(); ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(30); // should it wait for a thread that it does not have
      ::_exit(makeFile(directory.Path("child")) ? 0 : 1);
    }
    int status = 1;
    EXPECT_TRUE(::waitpid(child, &status, 0) == child && status == 0) << "in child " << i << ": " << status;
  }
  EXPECT_FALSE(ORXSimManager::OpenContext(directory.Path("child").c_str(), 3, 102, false, 1).IsNull())
      << "a child looks through a file of unknown origin: " << ORXSimManager::LastError();
  stop = true;
  for (std::thread& thread : threads)
    thread.join();
  DDB_PDM_Core_finalize(modules);
}

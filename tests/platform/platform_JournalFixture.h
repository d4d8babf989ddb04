#pragma once

#include "platform_Fixture.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

inline const hdf_Datatype kInt = hdf_Datatype::NATIVE_INT;

/// A file with the number n, and processes that write it and die.
class platform_JournalFixture : public platform_Fixture {
 protected:
  static bool Set(ORXSimContextID context, int value) {
    const hdf_Group root = RootOf(context);
    const hdf_Dataset n =
        root.GetObjinfoExists("n") ? root.DatasetOpen("n") : root.DatasetCreate("n", kInt, Line(1));
    return n.Write(kInt, &value, 1) && ORXSimContextRef(context).Commit();
  }
  static int Get(ORXSimContextID context) {
    int value = -1;
    RootOf(context).DatasetOpen("n").Read(kInt, &value, 1);
    return value;
  }
  static ORXSimContextID OpenLive(const std::string& path) { return Open(path, true, 3); }
  // As the next one to open the file reads it.
  static int Value(const std::string& path) {
    const ORXSimContextID context = Open(path);
    const int value = Get(context);
    ORXSimManager::CloseContext(context);
    return value;
  }
  // In a process of its own, which is killed afterwards.
  template <class Work>
  static void Die(Work work) {
    const pid_t child = ::fork();
    if (child == 0) {
      work();
      ::raise(SIGKILL);
    }
    ::waitpid(child, nullptr, 0);
  }
  // A file with n = 1 and a journal with n = 7 of a writer that died, with `option`.
  std::string Hot(const char* name = "a.pdm", int option = 1) {
    const std::string path = Path(name);
    const ORXSimContextID context = Create(path);
    Set(context, 1);
    ORXSimManager::CloseContext(context);
    Die([&] {
      const ORXSimContextID writer = Open(path, false, option);
      for (int value = 2; value <= 7; ++value)
        Set(writer, value);
      const ORXSimUpdate unfinished(writer);
      const int lost = 8;
      RootOf(writer).DatasetOpen("n").Write(kInt, &lost, 1);
      ::raise(SIGKILL);
    });
    EXPECT_TRUE(std::filesystem::exists(path + "-journal"));
    return path;
  }
  static void Put(const std::string& path, std::string bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }
};

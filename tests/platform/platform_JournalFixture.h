#pragma once

#include "platform_Fixture.h"

#include <csignal>
#include <functional>
#include <map>
#include <new>
#include <sys/wait.h>
#include <unistd.h>

/// Another process, which stops within its work and is killed after it.
class platform_Other {
 public:
  explicit platform_Other(const std::function<void(const std::function<void()>&)>& work) {
    if (::pipe(m_there) != 0 || ::pipe(m_back) != 0)
      throw std::bad_alloc();
    m_process = ::fork();
    char byte = 0;
    if (m_process == 0) {
      work([&] { byte = static_cast<char>(::write(m_back[1], "x", 1) + ::read(m_there[0], &byte, 1)); });
      ::raise(SIGKILL);
    }
    EXPECT_EQ(::read(m_back[0], &byte, 1), 1);
  }
  platform_Other(const platform_Other&) = delete;
  platform_Other& operator=(const platform_Other&) = delete;
  ~platform_Other() { GoOn(); }
  void GoOn() {
    if (m_process > 0 && ::write(m_there[1], "x", 1) == 1)
      ::waitpid(std::exchange(m_process, 0), nullptr, 0);
  }

 private:
  int m_there[2], m_back[2];
  pid_t m_process;
};

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
    Make(path, 1);
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
  // What lies in the directory.
  std::map<std::string, std::string> All() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(m_directory.Name()))
      all[entry.path().filename()] =
          entry.is_regular_file() && !entry.is_symlink() ? sys_Bytes(entry.path()) : "special";
    return all;
  }
  // As a reader sees it, -1 when it is refused.
  static int Shown(const std::string& path) {
    const ORXSimContextID context = Open(path, true);
    const int value = context.IsNull() ? -1 : Get(context);
    ORXSimManager::CloseContext(context);
    return value;
  }
  static void Make(const std::string& path, int value) {
    const ORXSimContextID context = Create(path);
    EXPECT_TRUE(Set(context, value) && ORXSimManager::CloseContext(context)) << LastError();
  }
};

#pragma once

#include "platform_Fixture.h"

#include <support/sys_Process.h>

#include <map>

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
  // As the next one to open the file reads it, -1 when it is refused.
  static int Value(const std::string& path, bool readOnly = false) {
    const ORXSimContextID context = Open(path, readOnly);
    const int value = Get(context);
    ORXSimManager::CloseContext(context);
    return value;
  }
  static int Shown(const std::string& path) { return Value(path, true); }
  // In a process of its own, which is killed afterwards.
  static void Die(const std::function<void()>& work) {
    sys_Process([&](const auto& pause) {
      pause();
      work();
    });
  }
  // One that commits these values.
  static void DieAfter(const std::string& path, std::initializer_list<int> values, int option = 1) {
    Die([&] {
      const ORXSimContextID writer = Open(path, false, option);
      for (const int value : values)
        Set(writer, value);
    });
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
  static void Make(const std::string& path, int value) {
    const ORXSimContextID context = Create(path);
    EXPECT_TRUE(Set(context, value) && ORXSimManager::CloseContext(context)) << LastError();
  }
};

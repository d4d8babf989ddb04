// H5Journal alone, with a thread-safe HDF5: files of their own in several threads.

#include <H5Journal/H5Journal.h>
#include <support/sys_Directory.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {
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

TEST(Threads, HaveJournalsOfTheirOwn) {
  hbool_t able = false;
  H5is_library_threadsafe(&able);
  if (!able)
    GTEST_SKIP() << "this HDF5 is not thread-safe";
  const sys_Directory directory;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back(commitAndGoBack, directory.Path(std::to_string(number)));
  for (std::thread& thread : threads)
    thread.join();
}

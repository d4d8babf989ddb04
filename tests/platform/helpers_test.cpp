// Processes that help a file's writer: who may, and what waits for them.
#include <H5Journal/H5Journal.h>
#include <support/sys_Directory.h>

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

using testing::HasSubstr;

namespace {

struct HoldEnd {
  void operator()(H5J_hold_t* hold) const { H5Jrelease(hold); }
};
using Held = std::unique_ptr<H5J_hold_t, HoldEnd>;
struct HelpEnd {
  void operator()(H5J_help_t* help) const { H5Jend_help(help); }
};
using Helping = std::unique_ptr<H5J_help_t, HelpEnd>;

class Helpers : public testing::Test {
 protected:
  static constexpr hsize_t kBytes = 300000;

  static Held Hold(const std::string& path, unsigned flags, unsigned waiting = 0, int option = H5J_PROCESS) {
    const H5J_options_t options{
        H5J_OPTIONS_VERSION, static_cast<H5J_durability_t>(option), false, waiting, 0, 0};
    return Held(H5Jhold(path.c_str(), flags, &options));
  }
  hid_t Open(const Held& hold) const { return H5Jopen(hold.get(), m_creation, m_access); }
  static Helping Help(const H5J_share_t& share, unsigned number = 1) {
    return Helping(H5Jhelp(&share, number));
  }
  // Somebody is refused, with these words.
  template <class Answer>
  static void Refused(const Answer& answer, const char* words) {
    EXPECT_FALSE(answer);
    EXPECT_THAT(H5Jlast_error(), HasSubstr(words));
  }
  // Makes a file with a commit point.
  void Make(int option = H5J_PROCESS) {
    const Held hold = Hold(m_path, H5F_ACC_TRUNC, 0, option);
    const hid_t file = Open(hold);
    H5Gclose(H5Gcreate2(file, "g", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    EXPECT_GE(H5Jcommit_held(hold.get(), file), 0) << H5Jlast_error();
    H5Jend(hold.get(), file, true);
  }
  // A dataset whose space is lent, with its address.
  htri_t Lend(const Held& hold, hid_t file, const char* name) {
    const hid_t space = H5Screate_simple(1, &kBytes, nullptr), list = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_alloc_time(list, H5D_ALLOC_TIME_EARLY);
    H5Pset_fill_time(list, H5D_FILL_TIME_NEVER);
    const hid_t data = H5Dcreate2(file, name, H5T_NATIVE_UCHAR, space, H5P_DEFAULT, list, H5P_DEFAULT);
    m_address = H5Dget_offset(data);
    H5Dclose(data), H5Sclose(space), H5Pclose(list);
    return H5Jlend(hold.get(), m_address, kBytes, &m_first, &m_end);
  }
  std::uintmax_t Size() const { return std::filesystem::file_size(m_path); }

  sys_Directory m_directory;
  std::string m_path = m_directory.Path("a.h5");
  hid_t m_access = H5Pcreate(H5P_FILE_ACCESS), m_creation = H5Pcreate(H5P_FILE_CREATE);
  std::uint64_t m_address = 0, m_first = 0, m_end = 0;
  void SetUp() override {
    H5Pset_fapl_journal(m_access, nullptr);
    H5Pset_journal_mark(m_creation);
  }
  void TearDown() override { H5Pclose(m_access), H5Pclose(m_creation); }
};

TEST_F(Helpers, ComeToTheFileOfTheirWriterAndKeepItAfterItsDeath) {
  Make();
  const std::string copy = m_directory.Path("copy.h5");
  std::filesystem::copy_file(m_path, copy);
  H5J_share_t share, other, read;
  Held hold = Hold(m_path, H5F_ACC_RDWR);
  ASSERT_GE(H5Jshare(hold.get(), &share), 0) << H5Jlast_error();
  EXPECT_STREQ(share.name, m_path.c_str());
  Refused(Help(share, 1u << 24), "number");
  std::strcpy((other = share).name, copy.c_str());
  Refused(Help(other), "another one"); // the same bytes
  std::strcpy(other.name, m_directory.Path("none").c_str());
  Refused(Help(other), "No such file");
  (other = share).sector[100] ^= 1;
  Refused(Help(other), "another one");
  Helping first = Help(share, 7), second = Help(share, 8);
  EXPECT_TRUE(first && second) << H5Jlast_error();

  hold.reset(); // and they have not ended
  const std::string before = sys_Bytes(m_path);
  for (const unsigned flags : {H5F_ACC_RDWR, H5F_ACC_TRUNC})
    Refused(Hold(m_path, flags), "rank 7 of a job");
  Refused(H5Jrecover(m_path.c_str(), 0) >= 0, "rank 7");
  Refused(H5Jdiscard(m_path.c_str()) >= 0, "rank 7");
  first.reset();
  Refused(Hold(m_path, H5F_ACC_RDWR), "rank 8");
  Refused(Help(share), "another one"); // of whom?
  auto waiting = std::async(std::launch::async, [&] { return Hold(m_path, H5F_ACC_RDWR, 20000) != nullptr; });
  ::usleep(50000);
  for (int i = 0; i < 20; ++i, ::usleep(1000)) { // who waits keeps no reader waiting
    const Held reader = Hold(m_path, H5F_ACC_RDONLY);
    ASSERT_NE(reader, nullptr) << H5Jlast_error();
    ASSERT_GE(H5Jshare(reader.get(), &read), 0) << H5Jlast_error();
    EXPECT_TRUE(Help(read)) << H5Jlast_error();
    std::strcpy(read.name, copy.c_str());
    Refused(Help(read), "another one"); // of which nobody knows what else is in it
  }
  EXPECT_EQ(sys_Bytes(m_path), before);
  second.reset();
  EXPECT_TRUE(waiting.get());
}

TEST_F(Helpers, ALoanKeepsTheUpdateWhereItIs) {
  for (const int option : {0, 1, 2}) {
    SCOPED_TRACE(option);
    Make();
    const auto size = Size();
    Held hold = Hold(m_path, H5F_ACC_RDWR, 0, option);
    hid_t file = Open(hold);
    const std::string bytes(kBytes, 'x');
    std::uint64_t first = 0, end = 0;
    Refused(H5Jtake_back(hold.get(), true) >= 0, "nothing is lent");
    ASSERT_EQ(Lend(hold, file, "lent"), 1) << H5Jlast_error();
    EXPECT_TRUE(m_first % 4096 == 0 && m_end % 4096 == 0 && m_first - m_address < 4096);
    Refused(H5Jlend(hold.get(), m_address, kBytes, &first, &end) >= 0, "other processes are writing");
    Refused(H5Jcommit_held(hold.get(), file) >= 0, "other processes are writing");
    Refused(H5Jend(hold.get(), file, false) >= 0, "other processes are writing");
    Refused(H5Jput(hold.get(), m_end - 1, 2, bytes.data()) >= 0, "helpers write");
    EXPECT_GE(H5Jput(hold.get(), m_address, m_first - m_address, bytes.data()), 0) << H5Jlast_error();
    const int own = ::open(m_path.c_str(), O_RDWR);
    EXPECT_EQ(::pwrite(own, bytes.data(), m_end - m_first, static_cast<off_t>(m_first)),
              static_cast<ssize_t>(m_end - m_first));
    EXPECT_GE(H5Jtake_back(hold.get(), false), 0);
    if (option != 0)
      Refused(H5Jcommit_held(hold.get(), file) >= 0, "a helper has not written its part");
    EXPECT_GE(H5Jend(hold.get(), file, false), 0) << H5Jlast_error();
    file = Open(hold);
    EXPECT_TRUE(option == 0 || H5Lexists(file, "lent", H5P_DEFAULT) == 0);
    if (option != 0) { // the space of what was given up is lent again
      ASSERT_EQ(Lend(hold, file, "again"), 1) << H5Jlast_error();
      EXPECT_GE(H5Jtake_back(hold.get(), false), 0);
      EXPECT_GE(H5Jend(hold.get(), file, false), 0);
      file = Open(hold);
      H5Gclose(H5Gcreate2(file, "h", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
      EXPECT_GE(H5Jcommit_held(hold.get(), file), 0) << H5Jlast_error();
      EXPECT_GE(H5Jend(hold.get(), file, true), 0);
      hold.reset();
      EXPECT_LT(Size(), size + 10000); // nothing of it stays
    }
    ::close(own);
  }
}

// What was lent is in the file alone: an older copy of the file is not to meet the journal.
TEST_F(Helpers, WhatTheyWriteIsMissedInAnOlderCopy) {
  Make();
  const std::string copy = m_directory.Path("b.h5"), bytes(kBytes, 'x');
  const Held hold = Hold(m_path, H5F_ACC_RDWR, 0, H5J_POWER);
  const hid_t file = Open(hold);
  const auto commit = [&](const char* name) {
    H5Gclose(H5Gcreate2(file, name, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT));
    EXPECT_EQ(H5Jcommit_held(hold.get(), file), 0) << H5Jlast_error();
  };
  const auto keep = [&](const char* suffix) {
    constexpr auto kOver = std::filesystem::copy_options::overwrite_existing;
    std::filesystem::copy_file(m_path + suffix, copy + suffix, kOver);
  };
  commit("first");
  keep("");
  ASSERT_EQ(Lend(hold, file, "lent"), 1) << H5Jlast_error();
  EXPECT_GE(H5Jput(hold.get(), m_address, m_first - m_address, bytes.data()), 0);
  EXPECT_GE(H5Jput(hold.get(), m_end, m_address + kBytes - m_end, bytes.data()), 0);
  const int own = ::open(m_path.c_str(), O_RDWR);
  EXPECT_GT(::pwrite(own, bytes.data(), m_end - m_first, static_cast<off_t>(m_first)), 0);
  ::close(own);
  EXPECT_GE(H5Jtake_back(hold.get(), true), 0);
  commit("second");
  keep("-journal");
  Refused(Hold(copy, H5F_ACC_RDWR), "older copy");
  keep("");
  const Held again = Hold(copy, H5F_ACC_RDWR);
  ASSERT_NE(again, nullptr) << H5Jlast_error();
  const hid_t copied = Open(again), data = H5Dopen2(copied, "lent", H5P_DEFAULT);
  std::string found(kBytes, '\0');
  EXPECT_GE(H5Dread(data, H5T_NATIVE_UCHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, found.data()), 0);
  EXPECT_TRUE(found == bytes);
  H5Dclose(data);
  H5Jend(again.get(), copied, true);
  H5Jend(hold.get(), file, true);
}

} // namespace

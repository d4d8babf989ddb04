#pragma once

#include <campaign/camp_Content.h>

/// How the library is used in one part of a campaign.
struct camp_Config {
  const char* name;
  H5J_durability_t durability;
  unsigned journal = 0, memory = 0; // limits in bytes, 0 for those of the library
  int readers = 0;                  // live readers beside the writer
  bool isMarked = true;
  bool isOldFormat = false; // HDF5's own choice: metadata without checksums
  bool regrows = false;     // begins with a file that shrinks and grows again
};

/// A file as a host works on it.
class camp_Session {
 public:
  camp_Session(std::string file, const camp_Config& config, unsigned waitingTime = 0)
      : m_file(std::move(file)), m_config(config), m_waitingTime(waitingTime) {}
  camp_Session(const camp_Session&) = delete;
  camp_Session& operator=(const camp_Session&) = delete;
  ~camp_Session() { Drop(); }

  bool IsOpen() const { return m_id >= 0; }
  hid_t Id() const { return m_id; }

  bool Create();
  bool Open(unsigned flags, bool isLive = false);
  bool Commit() { return H5Jcommit(m_id) >= 0; }
  /// False when the file is not open any more.
  bool Rollback() { return (m_id = H5Jrollback(m_id)) >= 0; }
  bool Refresh() { return (m_id = H5Jrefresh(m_id)) >= 0; }
  /// Commits and closes; afterwards it is closed in any case.
  bool Close() { return H5Jclose(std::exchange(m_id, -1)) >= 0; }
  /// Closes and leaves the last commit point.
  void Drop();

  H5J_info_t Info() const;
  static std::string Failure() { return H5Jlast_error(); }

 private:
  hid_t AccessList(bool isLive) const;

  std::string m_file;
  const camp_Config& m_config;
  unsigned m_waitingTime;
  hid_t m_id = -1;
};

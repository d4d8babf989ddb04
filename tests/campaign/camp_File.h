#pragma once

#include <H5Journal/H5Journal.h>
#include <campaign/camp_Io.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What HDF5 calls by an identifier. A failure to close it is remembered.
class camp_Handle {
 public:
  camp_Handle(hid_t id, herr_t (*close)(hid_t)) : m_id(id), m_close(close) {}
  camp_Handle(const camp_Handle&) = delete;
  camp_Handle& operator=(const camp_Handle&) = delete;
  ~camp_Handle() { s_failed = (m_id >= 0 && m_close(m_id) < 0) || s_failed; }
  operator hid_t() const { return m_id; }
  /// True when one could not be closed since the last question.
  static bool Failed() { return std::exchange(s_failed, false); }

 private:
  static inline bool s_failed = false;
  hid_t m_id;
  herr_t (*m_close)(hid_t);
};

/// A group, or a dataset or an attribute of bytes. Copies share the bytes.
struct camp_Item {
  std::vector<hsize_t> shape; // none for a group
  std::shared_ptr<const std::string> bytes;
  std::size_t hash = 0;

  camp_Item() = default;
  camp_Item(std::vector<hsize_t> extents, std::string content)
      : shape(std::move(extents)), bytes(std::make_shared<const std::string>(std::move(content))),
        hash(std::hash<std::string>()(*bytes)) {}
  bool operator==(const camp_Item& other) const {
    return shape == other.shape && (bytes == other.bytes || (bytes && other.bytes && *bytes == *other.bytes));
  }
};

/// Everything that an HDF5 file holds.
struct camp_Content {
  bool exists = false;
  std::map<std::string, camp_Item> items; // "group", "group/dataset", "group/dataset@attribute"

  bool operator==(const camp_Content&) const = default;
  std::uint64_t Digest() const;
  /// The first item in which another content differs, "" when it is equal.
  std::string Difference(const camp_Content& other) const;
  /// Reads all of an open file.
  /// \return false when something cannot be read.
  static bool Read(hid_t file, camp_Content& content);
};

/// How the library is used in one part of a campaign.
struct camp_Config {
  enum Trait : unsigned {
    kUnmarked = 1,  // files without a mark
    kOldFormat = 2, // HDF5's own choice: metadata without checksums
    kRegrows = 4,   // begins with a file that shrinks and grows again
    kSmall = 8,     // nothing large in it
    kHelped = 16    // helpers write some of it
  };
  const char* name;
  H5J_durability_t durability;
  unsigned journal = 0, memory = 0; // limits in bytes, 0 for those of the library
  int readers = 0;                  // live readers beside the writer
  unsigned traits = 0;
  bool Is(Trait trait) const { return (traits & trait) != 0; }
};

class camp_Crew;

/// A file as a host works on it; with helpers, under a hold when it is open for writing.
class camp_Session {
 public:
  /// \param crew  the helpers; null for some of its own.
  camp_Session(std::string file, const camp_Config& config, unsigned waitingTime = 0,
               camp_Crew* crew = nullptr)
      : m_file(std::move(file)), m_config(config), m_waitingTime(waitingTime), m_crew(crew) {}
  camp_Session(const camp_Session&) = delete;
  camp_Session& operator=(const camp_Session&) = delete;
  ~camp_Session() { Drop(); }

  bool IsOpen() const { return m_id >= 0; }
  hid_t Id() const { return m_id; }
  H5J_info_t Info() const {
    H5J_info_t info{};
    m_hold != nullptr ? H5Jget_hold_info(m_hold, &info) : H5Jget_info(m_id, &info);
    return info;
  }
  /// What the campaign itself found wrong comes first.
  static std::string Failure() { return s_note + H5Jlast_error(); }
  static void Note(const std::string& wrong) { s_note += wrong + "; "; }

  bool Create();
  bool Open(unsigned flags, bool isLive = false);
  bool Commit() {
    return camp_Armed(), (m_hold != nullptr ? H5Jcommit_held(m_hold, m_id) : H5Jcommit(m_id)) >= 0;
  }
  /// False when the file is not open any more.
  bool Rollback();
  bool Refresh() { return (m_id = H5Jrefresh(m_id)) >= 0; }
  /// Commits, and closes the file in any case.
  bool Close() {
    return m_hold != nullptr ? Release(true) : (camp_Armed(), H5Jclose(std::exchange(m_id, -1)) >= 0);
  }
  /// Closes and leaves the last commit point.
  void Drop();

  H5J_hold_t* Hold() const { return m_hold; }
  camp_Crew& Crew() { return *m_crew; }
  /// True when helpers have the file open.
  bool Joined();

 private:
  hid_t AccessList(bool isLive) const;
  bool OpenHeld(unsigned flags, hid_t creation, hid_t access);
  bool Release(bool keeps);

  std::string m_file;
  const camp_Config& m_config;
  unsigned m_waitingTime;
  hid_t m_id = -1;
  H5J_hold_t* m_hold = nullptr;
  camp_Crew* m_crew;
  std::shared_ptr<camp_Crew> m_own;
  bool m_joined = false;
  static inline std::string s_note;
};

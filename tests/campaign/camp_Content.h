#pragma once

#include <H5Journal/H5Journal.h>

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

/// A group, a dataset of bytes or an attribute of bytes. Copies share the bytes.
struct camp_Item {
  std::vector<hsize_t> shape; // none for a group
  std::shared_ptr<const std::string> bytes;
  std::size_t hash = 0;

  camp_Item() = default;
  camp_Item(std::vector<hsize_t> extents, std::string content)
      : shape(std::move(extents)), bytes(std::make_shared<const std::string>(std::move(content))),
        hash(std::hash<std::string>()(*bytes)) {}
  bool IsGroup() const { return shape.empty(); }
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
  /// Reads all of an open file. \return false when something cannot be read.
  static bool Read(hid_t file, camp_Content& content);
};

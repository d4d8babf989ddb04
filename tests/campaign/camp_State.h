#pragma once

#include <PDM_Core.h>

#include <bit>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// An object with its members as text, and the objects below it.
struct camp_Object {
  std::string name;
  std::map<std::string, std::string> members;
  std::vector<camp_Object> children;
};

/// The rows of a drawer. Copies share the bytes.
class camp_Rows {
 public:
  camp_Rows() : camp_Rows(std::string()) {}
  explicit camp_Rows(std::string bytes)
      : m_hash(std::hash<std::string>()(bytes)),
        m_bytes(std::make_shared<const std::string>(std::move(bytes))) {}
  const std::string& Bytes() const { return *m_bytes; }
  std::uint64_t Hash() const { return m_hash; }

 private:
  std::uint64_t m_hash;
  std::shared_ptr<const std::string> m_bytes;
};

struct camp_Drawer {
  int collection = 0, set = 0; // minor numbers
  ORXSimItemType type = ORXSimItemType::kInt32;
  int components = 1;
  camp_Rows rows;
};

struct camp_Distribution {
  std::string name, unit;
  std::vector<camp_Drawer> drawers;
};

struct camp_Collection {
  std::string name;
  int items = 0;
  std::vector<std::vector<int>> sets;
};

/// Everything that a simulation file holds. Collections, sets and distributions lie at their minor number
/// less 1.
struct camp_State {
  static constexpr std::uint64_t kNoFile = 0, kUnreadable = 1; // no digest is one of these

  bool exists = false;
  camp_Object sim;
  std::vector<camp_Collection> collections;
  std::vector<camp_Distribution> distributions;

  /// The whole state, a line for each thing; equal texts are equal states.
  std::string Text() const;
  /// kNoFile for a state without a file.
  std::uint64_t Digest() const;
  /// Reads all of an open simulation.
  static camp_State Read(const msfD_Sim& sim);
};

/// A member's value as text, identifiers without their context.
template <class Value>
std::string camp_TextOf(const Value& value) {
  if constexpr (std::is_same_v<Value, kda_string>) {
    return '"' + std::string(value.cStr()) + '"';
  } else if constexpr (std::is_same_v<Value, double>) {
    return std::to_string(std::bit_cast<std::uint64_t>(value));
  } else if constexpr (std::is_same_v<Value, int>) {
    return std::to_string(value);
  } else if constexpr (requires { value.IsNull(); }) {
    std::string collection;
    if constexpr (requires { value.CollectionMinor(); })
      collection = std::to_string(value.CollectionMinor()) + '.';
    return value.IsNull() ? "-" : collection + std::to_string(value.Minor());
  } else {
    std::string text = "{";
    value.ForEach(
        [&](const auto& key, const auto& one) { text += camp_TextOf(key) + ':' + camp_TextOf(one) + ','; });
    return text + '}';
  }
}

/// The members of an object as text; works on the defaults of a class too.
template <class Traits>
camp_Object camp_ObjectOf(const typename Traits::Members& members) {
  camp_Object object{Traits::kName.chars, {}, {}};
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
      [&](auto member) { object.members[member.name()] = camp_TextOf(members.*member.kField); });
  return object;
}

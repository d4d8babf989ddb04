#pragma once

#include <PDM_Core.h>

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

/// The members of an object as text; works on the defaults of a class too.
template <class Traits>
camp_Object camp_ObjectOf(const typename Traits::Members& members);

std::string camp_TextOf(ORXSimCollectionID id);
std::string camp_TextOf(ORXSimDistributionID id);
std::string camp_TextOf(ORXSimCSetID id);
std::string camp_TextOf(const kda_string& text);
std::string camp_TextOf(int number);
std::string camp_TextOf(double number);
template <class Map>
requires requires(const Map& map) {
  map.count();
}
std::string camp_TextOf(const Map& map) {
  std::string text = "{";
  map.ForEach(
      [&](const auto& key, const auto& value) { text += camp_TextOf(key) + ':' + camp_TextOf(value) + ','; });
  return text + '}';
}

template <class Traits>
camp_Object camp_ObjectOf(const typename Traits::Members& members) {
  camp_Object object{Traits::kName.chars, {}, {}};
  gbb_ForEach<typename gbb_MemberTable<Traits>::Members>(
      [&](auto member) { object.members[member.name()] = camp_TextOf(members.*member.kField); });
  return object;
}

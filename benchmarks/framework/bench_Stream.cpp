// Encoding and decoding the members of a mesh (12 maps of n entries), against protobuf and cereal.

#include "mesh_members.pb.h"

#include <gbb/pattern/gbb_Pattern.h>
#include <msf/dpa/msfD_Mesh.h>

#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/string.hpp>

#include <map>
#include <sstream>
#include <string>

namespace {

const ORXSimContextID kContext(0);

std::string keyOf(int i) {
  return "a set or field of the mesh " + std::to_string(i);
}

struct Ours {
  msfD_MeshMembers members;
  int lastSize = 64;

  explicit Ours(int n) {
    for (ORXSimCollectionID* id :
         {&members.nodes, &members.elements, &members.faces, &members.instances, &members.regions})
      *id = ORXSimCollectionID(kContext, 7);
    members.lagrangeNodes = ORXSimCSetID(members.nodes, 3);
    gbb_ForEach<gbb_MemberTable<msfD_MeshTraits>::Members>(
        [&](auto member) { Fill(members.*member.kField, n); });
  }
  static void Fill(kda_MapString<ORXSimCSetID>& map, int n) {
    for (int i = 0; i < n; ++i)
      map.insert(keyOf(i).c_str(), ORXSimCSetID(ORXSimCollectionID(kContext, 0), i + 1));
  }
  static void Fill(kda_MapString<ORXSimDistributionID>& map, int n) {
    for (int i = 0; i < n; ++i)
      map.insert(keyOf(i).c_str(), ORXSimDistributionID(kContext, i));
  }
  template <class T>
  static void Fill(T&, int) {}

  // As an object does it, which remembers how long its last stream was.
  gbb_MemoryStream::Buffer Encode() {
    gbb_MemoryStream stream(kContext);
    stream.Reserve(lastSize);
    gbb_ForEach<gbb_MemberTable<msfD_MeshTraits>::Members>(
        [&](auto member) { gbb_WriteMember(stream, member.kIndex, members.*member.kField); });
    gbb_MemoryStream::Buffer bytes = stream.GetBuffer();
    lastSize = bytes.Length();
    return bytes;
  }
  // As a loaded object does it.
  static int Decode(const gbb_MemoryStream::Buffer& bytes) {
    gbb_MemoryStream::Buffer copy;
    std::memcpy(copy.Extend(bytes.Length()), bytes.Data(), static_cast<std::size_t>(bytes.Length()));
    gbb_MemoryStream stream(copy, kContext);
    msfD_MeshMembers loaded;
    gbb_Readers<msfD_MeshTraits>::ReadAll(stream, loaded);
    return stream.GetError() == gbb_MemoryStream::kGood ? loaded.localNodeFields.count() : -1;
  }
};

// What the layout asks for at the least, by hand: the same records, in this order and with empty maps alone,
// into the same members. Whatever else comes is wrong.
struct Bytes : Ours {
  using Ours::Ours;

  static const unsigned char* Identifier(const unsigned char* at, int size, int& minor) {
    int length;
    std::memcpy(&length, at, sizeof length);
    std::memcpy(&minor, at + size - 4, sizeof minor);
    return length == size - 4 ? at + size : nullptr;
  }
  static const unsigned char* Value(const unsigned char* at, ORXSimCollectionID& id) {
    int minor = 0;
    const unsigned char* const next = at[4] == 1 ? Identifier(at, 9, minor) : nullptr;
    id = {kContext, minor};
    return next;
  }
  static const unsigned char* Value(const unsigned char* at, ORXSimCSetID& id) {
    int minor = 0, collection;
    const unsigned char* const next = at[4] == 2 ? Identifier(at, 13, minor) : nullptr;
    std::memcpy(&collection, at + 5, sizeof collection);
    id = {ORXSimCollectionID(kContext, collection), minor};
    return next;
  }
  template <class Map>
  static const unsigned char* Value(const unsigned char* at, Map&) {
    int count;
    std::memcpy(&count, at, sizeof count);
    return count == 0 ? at + 4 : nullptr;
  }
  static int Decode(const gbb_MemoryStream::Buffer& bytes) {
    gbb_MemoryStream::Buffer copy;
    std::memcpy(copy.Extend(bytes.Length()), bytes.Data(), static_cast<std::size_t>(bytes.Length()));
    msfD_MeshMembers loaded;
    const unsigned char *at = copy.Data() + 4, *const end = copy.Data() + copy.Length();
    gbb_ForEach<gbb_MemberTable<msfD_MeshTraits>::Members>([&](auto member) {
      auto& value = loaded.*member.kField;
      using Codec = gbb_Codec<std::remove_reference_t<decltype(value)>>;
      static constexpr unsigned char kHead[] = {
          3, member.kIndex, 0, 0, 0, gbb_MemoryStream::Tag(Codec::kShape, Codec::kBase)};
      at = at != nullptr && end - at >= 10 && std::memcmp(at, kHead, 6) == 0 ? Value(at + 6, value) : nullptr;
    });
    return at == end ? loaded.localNodeFields.count() : -1;
  }
};

struct Proto {
  bench::MeshMembers members;

  explicit Proto(int n) {
    members.set_nodes(7);
    members.set_elements(7);
    members.set_faces(7);
    members.set_instances(7);
    members.set_regions(7);
    members.mutable_lagrange_nodes()->set_collection(7);
    members.mutable_lagrange_nodes()->set_minor(3);
    for (auto* map : {members.mutable_node_sets(), members.mutable_element_sets(),
                      members.mutable_instance_sets(), members.mutable_region_sets()})
      for (int i = 0; i < n; ++i)
        (*map)[keyOf(i)].set_minor(i + 1);
    for (auto* map :
         {members.mutable_mesh_fields(), members.mutable_surfaces(), members.mutable_frame_fields(),
          members.mutable_node_fields(), members.mutable_element_fields(), members.mutable_surface_fields(),
          members.mutable_region_fields(), members.mutable_local_node_fields()})
      for (int i = 0; i < n; ++i)
        (*map)[keyOf(i)] = i;
  }
  std::string Encode() const { return members.SerializeAsString(); }
  static int Decode(const std::string& bytes) {
    bench::MeshMembers loaded;
    return loaded.ParseFromString(bytes) ? static_cast<int>(loaded.local_node_fields_size()) : -1;
  }
};

struct Cereal {
  struct CSet {
    int collection = 0, minor = 0;
    template <class Archive>
    void serialize(Archive& archive) {
      archive(collection, minor);
    }
  };
  int ids[5] = {};
  CSet lagrangeNodes;
  std::map<std::string, CSet> sets[4];
  std::map<std::string, int> fields[8];

  Cereal() = default;
  explicit Cereal(int n) {
    for (int i = 0; i < n; ++i) {
      for (auto& map : sets)
        map[keyOf(i)].minor = i + 1;
      for (auto& map : fields)
        map[keyOf(i)] = i;
    }
  }
  template <class Archive>
  void serialize(Archive& archive) {
    archive(ids, lagrangeNodes, sets, fields);
  }
  std::string Encode() {
    std::ostringstream stream(std::ios::binary);
    cereal::BinaryOutputArchive archive(stream);
    archive(*this);
    return std::move(stream).str();
  }
  static int Decode(const std::string& bytes) {
    std::istringstream stream(bytes, std::ios::binary);
    Cereal loaded;
    cereal::BinaryInputArchive archive(stream);
    archive(loaded);
    return static_cast<int>(loaded.fields[7].size());
  }
};

template <class Who>
void encode(benchmark::State& state) {
  Who members(static_cast<int>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(members.Encode());
}

template <class Who>
void decode(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  Who members(n);
  const auto bytes = members.Encode();
  for (auto _ : state)
    if (Who::Decode(bytes) != n)
      state.SkipWithError("wrong result");
}

template <class Who>
void add(const std::string& who) {
  benchmark::RegisterBenchmark(("encode_members/" + who).c_str(), encode<Who>)
      ->Arg(0)
      ->Arg(10)
      ->Arg(1000)
      ->MeasureProcessCPUTime();
  benchmark::RegisterBenchmark(("decode_members/" + who).c_str(), decode<Who>)
      ->Arg(0)
      ->Arg(10)
      ->Arg(1000)
      ->MeasureProcessCPUTime();
}

[[maybe_unused]] const bool s_registered = [] {
  add<Ours>("ours");
  benchmark::RegisterBenchmark("decode_members/bytes", decode<Bytes>)->Arg(0)->MeasureProcessCPUTime();
  add<Proto>("protobuf");
  add<Cereal>("cereal");
  return true;
}();

} // namespace

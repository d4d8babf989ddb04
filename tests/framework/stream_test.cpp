// The member stream against bytes worked out by hand.

#include <framework/framework_Fixture.h>

#include <gbb/pattern/gbb_MemberCodec.h>

#include <climits>

namespace {

using MemberStream = framework_Fixture;
using AutoArray = framework_Fixture;
using Buffer = gbb_MemoryStream::Buffer;
using Raw = std::vector<unsigned char>;

const ORXSimContextID kHere(7), kThere(8);

Buffer bufferOf(const Raw& bytes) {
  Buffer buffer;
  for (const unsigned char byte : bytes)
    buffer.Append(byte);
  return buffer;
}

Raw rawOf(Buffer buffer) {
  return {buffer.Data(), buffer.Data() + buffer.Length()};
}

// The bytes as a stream of just their length.
Buffer framed(Raw records) {
  const auto length = static_cast<unsigned char>(records.size() + 4);
  records.insert(records.begin(), {length, 0, 0, 0});
  return bufferOf(records);
}

template <class T>
int errorOf(const Raw& records) {
  gbb_MemoryStream stream(framed(records), kHere);
  T value{};
  if constexpr (requires { gbb_Codec<T>::kShape; })
    gbb_Codec<T>::Read(stream, value);
  return stream.GetError();
}

} // namespace

TEST_F(MemberStream, WritesTheseBytes) {
  gbb_MemoryStream stream(kHere);
  EXPECT_EQ(rawOf(stream.GetBuffer()), (Raw{4, 0, 0, 0}));

  kda_MapString<ORXSimCSetID> sets;
  sets.insert("b", ORXSimCSetID(ORXSimCollectionID(kHere, 2), 0x0102));
  sets.insert("", ORXSimCSetID());
  gbb_WriteMember(stream, 11, sets);
  gbb_WriteMember(stream, 2, 1.0);
  stream.Write(true);
  stream.Write(ORXSimDSetID(kHere, 1));
  // clang-format off
  const Raw expected = {
      73, 0, 0, 0,
      3, 11, 0, 0, 0, 57, 2, 0, 0, 0,              // two sets, the empty name first
      0, 0, 0, 0, 9, 0, 0, 0, 2, 255, 255, 255, 255, 255, 255, 255, 255,
      1, 0, 0, 0, 'b', 9, 0, 0, 0, 2, 2, 0, 0, 0, 2, 1, 0, 0,
      3, 2, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0xf0, 0x3f,
      1,
      5, 0, 0, 0, 3, 1, 0, 0, 0,
  };
  // clang-format on
  EXPECT_EQ(rawOf(stream.GetBuffer()), expected);
  EXPECT_EQ(stream.Position(), 4);
  EXPECT_EQ(rawOf(stream.GetBuffer()), (Raw{4, 0, 0, 0})) << "the stream has begun anew";
}

TEST_F(MemberStream, RefusesIdentifiersOfOtherContextsButNotNullOnes) {
  gbb_MemoryStream stream(kHere);
  stream.Write(ORXSimCollectionID(kThere, -1));
  stream.Write(ORXSimCSetID(ORXSimCollectionID(kThere, 3), -1));
  EXPECT_EQ(stream.GetError(), 0);
  stream.Write(ORXSimDSetID(kThere, 0));
  EXPECT_EQ(stream.GetError(), 3);
  stream.Write(17);
  stream.Write(kda_string("ignored"));
  EXPECT_EQ(rawOf(stream.GetBuffer()).size(), 4u + 9 + 13) << "nothing after the first error";
  EXPECT_EQ(stream.GetError(), 0) << "begun anew";
}

TEST_F(MemberStream, StopsAtTheFirstError) {
  gbb_MemoryStream wrongTag(framed({57, 1, 2, 3, 4}), kHere);
  wrongTag.Read(gbb_MemoryStream::kMapByString, gbb_MemoryStream::kDistribution);
  const int position = wrongTag.Position();
  int untouched = 55;
  double past = 5;
  wrongTag.Read(untouched);
  wrongTag.Read(past);
  EXPECT_EQ(untouched, 55);
  EXPECT_EQ(wrongTag.GetError(), 1) << "a later error does not replace the first";
  EXPECT_EQ(wrongTag.Position(), position);

  gbb_MemoryStream crossing(framed({1, 2, 3}), kHere);
  crossing.Read(untouched);
  EXPECT_EQ(crossing.GetError(), 2);
  EXPECT_EQ(untouched, 55);
  EXPECT_EQ(crossing.Position(), 4) << "nothing was read";

  // The header counts, not the bytes that happen to follow.
  gbb_MemoryStream stated(bufferOf({6, 0, 0, 0, 1, 2, 3, 4}), kHere);
  EXPECT_EQ(stated.Limit(), 6);
  stated.Read(untouched);
  EXPECT_EQ(stated.GetError(), 2);
}

TEST_F(MemberStream, TrustsNoHeaderNoLengthAndNoCount) {
  for (const Raw& header :
       {Raw{}, {4, 0, 0}, {3, 0, 0, 0}, {0, 0, 0, 0}, {5, 0, 0, 0}, {255, 255, 255, 127}, {4, 0, 0, 128}}) {
    gbb_MemoryStream stream(bufferOf(header), kHere);
    EXPECT_EQ(stream.GetError(), 2) << header.size();
    EXPECT_FALSE(stream.More());
    stream.GetBuffer();
    EXPECT_EQ(rawOf(stream.GetBuffer()), (Raw{4, 0, 0, 0})) << "begun anew";
  }
  const Raw huge = {255, 255, 255, 127}, negative = {255, 255, 255, 255};
  for (const Raw& number : {huge, negative}) {
    EXPECT_EQ(errorOf<kda_string>(number), 2);
    EXPECT_EQ(errorOf<kda_MapString<ORXSimCSetID>>(number), 2);
    EXPECT_EQ(errorOf<kda_List<bool>>(number), 2);
  }
  EXPECT_EQ(errorOf<ORXSimCollectionID>(huge), 3);
  EXPECT_EQ(errorOf<ORXSimCollectionID>(negative), 2);
  Raw external(4 + 65);
  external[0] = 65;
  EXPECT_EQ(errorOf<ORXSimCSetID>(external), 3);
  external.resize(4 + 64);
  external[0] = 64;
  EXPECT_EQ(errorOf<ORXSimCSetID>(external), 0) << "64 bytes are allowed";
  external.resize(4 + 63);
  EXPECT_EQ(errorOf<ORXSimCSetID>(external), 2);
  // A form of another kind is a null identifier.
  gbb_MemoryStream stream(framed({5, 0, 0, 0, 4, 7, 0, 0, 0}), kHere);
  ORXSimCollectionID collection(kHere, 1);
  stream.Read(collection);
  EXPECT_EQ(stream.GetError(), 0);
  EXPECT_TRUE(collection.IsNull());
  // A count that the bytes could just hold, with entries that they do not.
  EXPECT_EQ(errorOf<kda_MapString<ORXSimCSetID>>({1, 0, 0, 0, 1, 0, 0, 0, 'k', 9, 0, 0, 0}), 2);
}

// A flag is a byte of the file or of the host's memory; whatever is not zero is true.
TEST_F(MemberStream, TakesEveryFlagThatIsNotZeroAsTrue) {
  gbb_MemoryStream stored(framed({2, 0, 255, 1}), kHere);
  for (const bool expected : {true, false, true, true}) {
    bool value = !expected;
    stored.Read(value);
    EXPECT_EQ(value, expected);
  }
  const unsigned char two = 2;
  const bool& host = reinterpret_cast<const bool&>(two);
  kda_List<bool> list;
  list.append(true, 1);
  std::memcpy(const_cast<bool*>(&list[0]), &two, 1);
  gbb_MemoryStream written(kHere);
  written.Write(host);
  written.WriteTogether(host, false, host);
  gbb_Codec<bool>::Write(written, host);
  gbb_Codec<kda_List<bool>>::Write(written, list);
  EXPECT_EQ(rawOf(written.GetBuffer()), (Raw{14, 0, 0, 0, 1, 1, 0, 1, 1, 1, 0, 0, 0, 1}));
}

// What was read before an error is there; the record with the error is not, and neither is what follows.
TEST_F(MemberStream, KeepsTextsReadBeforeAnError) {
  gbb_MemoryStream list(framed({3, 0, 0, 0, 1, 0, 0, 0, 'a', 1, 0, 0, 0, 'b', 3, 0, 0, 0, 'c', 'd'}), kHere);
  kda_List<kda_string> texts;
  gbb_Codec<kda_List<kda_string>>::Read(list, texts);
  EXPECT_EQ(list.GetError(), 2);
  EXPECT_TRUE(texts.count() == 2 && texts[1].cStr() == std::string("b"));
}

TEST_F(MemberStream, PutsEveryEntryReadUnderItsKey) {
  const auto entry = [](char key, unsigned char minor) {
    return Raw{1, 0, 0, 0, static_cast<unsigned char>(key), 5, 0, 0, 0, 4, minor, 0, 0, 0};
  };
  const auto record = [](unsigned char count, const std::vector<Raw>& entries) {
    Raw bytes{58, count, 0, 0, 0};
    for (const Raw& one : entries)
      bytes.insert(bytes.end(), one.begin(), one.end());
    return bytes;
  };
  Raw records;
  const std::vector<Raw> parts = {
      record(3, {entry('d', 1), entry('f', 2), entry('h', 3)}), // ascending, as we write them
      record(4, {entry('b', 4), entry('f', 5), entry('a', 6), entry('z', 7)}), record(0, {}),
      record(3, {entry('y', 8), entry('c', 9)})}; // one entry short
  for (const Raw& part : parts)
    records.insert(records.end(), part.begin(), part.end());
  gbb_MemoryStream stream(framed(records), kHere);
  kda_MapString<ORXSimDistributionID> map;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    EXPECT_EQ(stream.GetError(), 0) << i;
    gbb_ReadMember(stream, map);
  }
  EXPECT_EQ(stream.GetError(), 2);
  std::string found;
  map.ForEach([&](const kda_string& key, ORXSimDistributionID id) {
    found += key.cStr() + std::to_string(id.Minor()) + ' ';
  });
  EXPECT_EQ(found, "a6 b4 c9 d1 f5 h3 y8 z7 ") << "of all records, and what was read before the error";
}

TEST_F(AutoArray, TakesStorageOverAndDoubles) {
  Buffer a;
  for (int i = 0; i < 17; ++i)
    a.Append(static_cast<unsigned char>(i));
  EXPECT_EQ(a.Capacity(), 32);
  a.Extend(100);
  EXPECT_EQ(a.Capacity(), 128);
  const unsigned char* const storage = a.Data();
  Buffer b(a), c(std::move(b));
  EXPECT_TRUE(a.Data() == nullptr && a.Length() == 0 && a.Capacity() == 0);
  EXPECT_EQ(c.Data(), storage);
  c.RemoveLast(17);
  EXPECT_EQ(c.Length(), 100);
  EXPECT_EQ(c.Data()[16], 16);
  c.RemoveLast(101);
  EXPECT_TRUE(c.Data() == nullptr && c.Length() == 0 && c.Capacity() == 0);
  Buffer reserved(33);
  EXPECT_EQ(reserved.Capacity(), 33);
  reserved.Append(1); // so that the destructor has something to release
}

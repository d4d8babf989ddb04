// Stored identifiers: whatever bytes stand there, they are at most one kind of identifier, and one that is
// not null is stored again as the same bytes.
//
// Input: the stated length, then the bytes.

#include "fuzz_Common.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {
const ORXSimContextID kContext(7);

// What is stored of an identifier is the form that it came from.
template <class ID>
bool stored(const ORXSimIDExternal& form, ID id) {
  if (id.IsNull())
    return false;
  const ORXSimIDExternal again(id);
  fuzz_Require(again.Length() == form.Length() &&
                   std::memcmp(again.Bytes(), form.Bytes(), static_cast<std::size_t>(form.Length())) == 0,
               "the bytes it came from");
  return true;
}

// The member stream reads the same identifier that the form gives.
template <class ID>
void readBack(const ORXSimIDExternal& form, ID expected) {
  gbb_MemoryStream out(kContext);
  out.Write(form.Length());
  out.Write(form.Bytes(), form.Length());
  gbb_MemoryStream in(out.GetBuffer(), kContext);
  ID read{};
  in.Read(read);
  fuzz_Require(in.GetError() == gbb_MemoryStream::kGood && !in.More(), "a stream of one identifier");
  fuzz_Require(read == expected, "the identifier of the form");
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz_Input input(data, size);
  const int stated = input.Take<std::int32_t>();
  const bool there = stated >= 0 && static_cast<std::size_t>(stated) <= input.Size();
  // A length that is refused must be refused before any byte is looked at.
  const bool refused = stated <= 0 || stated > ORXSimIDExternal::kMaxLength;
  const ORXSimIDExternal form(refused ? nullptr : input.Data(),
                              refused || there ? stated : static_cast<int>(input.Size()));

  int collection = -1;
  const int minor = form.CSetIDMinor(kContext, collection);
  const ORXSimCSetID set(ORXSimCollectionID(kContext, collection), minor);
  const ORXSimCollectionID items(kContext, form.CollectionIDMinor(kContext));
  const ORXSimDSetID data_(kContext, form.DSetIDMinor(kContext));
  const ORXSimDistributionID distribution(kContext, form.DistributionIDMinor(kContext));
  const int kinds = (stored(form, set) ? 1 : 0) + (stored(form, items) ? 1 : 0) +
                    (stored(form, data_) ? 1 : 0) + (stored(form, distribution) ? 1 : 0);
  fuzz_Require(kinds <= 1, "one kind");
  fuzz_Require(!refused || (kinds == 0 && form.Length() == 0), "a form of no kind");
  readBack(form, set);
  readBack(form, items);
  readBack(form, data_);
  readBack(form, distribution);
  return 0;
}

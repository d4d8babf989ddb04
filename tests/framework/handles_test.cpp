// Type-erased handles, classes and the snapshot of a file's classes.

#include <framework/framework_Fixture.h>

#include <cstring>
#include <numeric>

namespace {

using Handles = framework_Fixture;
using Classes = framework_Fixture;
using SchemaSnapshot = framework_Fixture;

gbb_Class define(gbb_ClassDescriptor& descriptor, const char* name, gbb_Class parent = {}) {
  return gbb_Class::Define(descriptor, name, parent, nullptr);
}

std::string textOf(const gbb_ClassID& id) {
  return {id.text, ::strnlen(id.text, gbb_ClassID::kSize)};
}

} // namespace

TEST_F(Handles, HoldUpTo128BytesAndCompareByBytesAlone) {
  EXPECT_EQ(sizeof(gbb_Handle), 136u);
  std::vector<unsigned char> data(200);
  std::iota(data.begin(), data.end(), static_cast<unsigned char>(1));
  gbb_ClassDescriptor descriptor;
  const gbb_Class some = define(descriptor, "some");

  const gbb_Handle full(data.data(), 128, some);
  EXPECT_EQ(std::memcmp(full.Data(), data.data(), 128), 0);
  const gbb_Handle over(data.data(), 129, some);
  EXPECT_EQ(Lines(), "** ERROR: gbb_Handle::gbb_Handle: size of data 129 larger than the maximum size 128\n");
  EXPECT_TRUE(full == over);
  EXPECT_TRUE(over.Class() == some) << "the class behind the data was not written over";

  const gbb_Handle shorter(data.data(), 127, some);
  EXPECT_FALSE(full == shorter);
  EXPECT_EQ(static_cast<const unsigned char*>(shorter.Data())[127], 0);

  int object = 0;
  EXPECT_TRUE(gbb_Handle(&object, some) == gbb_Handle(&object, gbb_Class())) << "the class is not compared";
  EXPECT_TRUE(gbb_Handle() == gbb_Handle(nullptr, some));
}

TEST_F(Classes, DescendAlongTheirParents) {
  gbb_ClassDescriptor descriptors[4];
  const gbb_Class top = define(descriptors[0], "top"), middle = define(descriptors[1], "middle", top),
                  low = define(descriptors[2], "low", middle), other = define(descriptors[3], "other");
  EXPECT_TRUE(low.IsA(low) && low.IsA(middle) && low.IsA(top) && middle.IsA(top));
  EXPECT_FALSE(top.IsA(low) || middle.IsA(low) || low.IsA(other) || other.IsA(top));
  EXPECT_FALSE(gbb_Class().IsA(gbb_Class()) || gbb_Class().IsA(top) || top.IsA(gbb_Class()));
  // Defining again keeps the first.
  define(descriptors[2], "changed", other);
  EXPECT_EQ(textOf(low.ClassID()), "low");
  EXPECT_TRUE(low.IsA(middle));
}

TEST_F(Classes, IdentifiersAreCutAtEightyBytesAndOrderedAsUnsigned) {
  const std::string eighty(80, 'x');
  EXPECT_EQ(textOf(gbb_ClassID(eighty.c_str())), eighty);
  EXPECT_TRUE(gbb_ClassID(eighty.c_str()) == gbb_ClassID((eighty + "y").c_str()));
  EXPECT_EQ(textOf(gbb_Class().ClassID()), "");

  const auto order = [](const char* a, const char* b) {
    return BtreeCompare(gbb_ClassID(a), gbb_ClassID(b));
  };
  EXPECT_EQ(order("ab", "abc"), -1);
  EXPECT_EQ(order("abc", "ab"), 1);
  EXPECT_EQ(order("abc", "abc"), 0);
  EXPECT_EQ(order("\x7f", "\x80"), -1);
  EXPECT_EQ(order((eighty.substr(1) + "a").c_str(), (eighty.substr(1) + "b").c_str()), -1);
  gbb_ClassID behind("ab");
  behind.text[79] = 'z'; // behind the terminator: not looked at
  EXPECT_EQ(BtreeCompare(behind, gbb_ClassID("ab")), 0);
}

TEST_F(SchemaSnapshot, TakesTheClassesOfTheHost) {
  const msfD_SimHolder sim = msfD_Sim::New(0);
  const gbb_SchemaSnapshot snapshot = sim.Get().schemaSnapshot();
  EXPECT_TRUE(snapshot.GetClass(gbb_ClassID("com.vertana.ModalSystem")).Parent() ==
              fesD_FESystemInterface::StaticClass());
  EXPECT_TRUE(!snapshot.GetClass(gbb_ClassID("com.vertana.Sim")));

  // Names of 80 characters that differ in the last; an identifier keeps its first class.
  const std::string stem(79, 'n');
  gbb_ClassDescriptor a, b, again;
  EXPECT_TRUE(snapshot.Register(define(a, (stem + "a").c_str())));
  EXPECT_TRUE(snapshot.Register(define(b, (stem + "b").c_str())));
  EXPECT_FALSE(snapshot.Register(define(again, (stem + "a").c_str())));
  EXPECT_TRUE(snapshot.GetClass(gbb_ClassID((stem + "a").c_str())) == gbb_Class(&a));
  EXPECT_TRUE(snapshot.GetClass(gbb_ClassID((stem + "b").c_str())) == gbb_Class(&b));
}

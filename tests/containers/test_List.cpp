#include <containers/Values.h>
#include <support/err_Capture.h>

#include <kda/kda_List.h>

#include <random>
#include <vector>

namespace {

template <class T>
class List : public ::testing::Test {};
TYPED_TEST_SUITE(List, ValueTypes);

template <class T>
void expectEqual(const kda_List<T>& list, const std::vector<T>& model, int capacity) {
  ASSERT_EQ(list.count(), static_cast<int>(model.size()));
  ASSERT_EQ(list.capacity(), capacity);
  for (int i = 0; i < list.count(); ++i)
    ASSERT_TRUE(list[i] == static_cast<T>(model[static_cast<std::size_t>(i)])) << i;
}

TYPED_TEST(List, GrowsToSixteenAndThenDoubles) {
  using T = TypeParam;
  std::mt19937 random(1);
  for (int history = 0; history < 20; ++history) {
    kda_List<T> list;
    std::vector<T> model;
    int capacity = 0;
    for (int step = 0; step < 60; ++step) {
      const int repeat =
          random() % 8 == 0 ? static_cast<int>(random() % 100) : static_cast<int>(random() % 3);
      list.append(makeValue<T>(step), repeat);
      model.insert(model.end(), static_cast<std::size_t>(repeat), makeValue<T>(step));
      while (capacity < static_cast<int>(model.size()))
        capacity = capacity == 0 ? 16 : capacity * 2;
      if (random() % 16 == 0) {
        list.reserve(capacity - 1);
        list.reserve(++capacity);
      }
      expectEqual(list, model, capacity);
    }
    kda_List<T> copy(list);
    expectEqual(copy, model, static_cast<int>(model.size()));
    const T* const first = &list[0];
    kda_List<T> other;
    other.swap(list);
    EXPECT_EQ(&other[0], first);
    expectEqual(list, {}, 0);
    other.clear();
    expectEqual(copy, model, static_cast<int>(model.size()));
  }
}

TYPED_TEST(List, ClearKeepsStorageThatWasNeverFilled) {
  kda_List<TypeParam> list;
  list.reserve(10);
  list.append(makeValue<TypeParam>(1), -1);
  list.clear();
  EXPECT_EQ(list.capacity(), 10);
  EXPECT_EQ(kda_List<TypeParam>(list).capacity(), 0);
  while (list.count() < 11)
    list.append(makeValue<TypeParam>(1), 1);
  EXPECT_EQ(list.capacity(), 20);
}

TYPED_TEST(List, FieldsLieAsDocumented) {
  struct Fields {
    void* data;
    int capacity, count;
  } fields;
  kda_List<TypeParam> list;
  list.reserve(5);
  list.append(makeValue<TypeParam>(1), 2);
  static_assert(sizeof(list) == sizeof fields);
  std::memcpy(&fields, static_cast<void*>(&list), sizeof fields);
  EXPECT_EQ(fields.data, &list[0]);
  EXPECT_EQ(fields.capacity, 5);
  EXPECT_EQ(fields.count, 2);
}

TYPED_TEST(List, IndexOutsideIsReportedAndStillAnswered) {
  kda_List<TypeParam> list;
  list.reserve(4);
  list.append(makeValue<TypeParam>(1), 3);
  const kda_List<TypeParam>& constant = list;
  err_Capture capture;
  const TypeParam* const first = &list[0];
  EXPECT_EQ(capture.Take(), "");
  EXPECT_EQ(&list[3], first + 3);
  EXPECT_EQ(capture.Take(), "** ERROR kda_List::operator[]: index 3 is out of bounds\n");
  EXPECT_EQ(&constant[-1], first - 1);
  EXPECT_EQ(capture.Take(), "** ERROR kda_List::operator[]: index -1 is out of bounds\n");
}

} // namespace

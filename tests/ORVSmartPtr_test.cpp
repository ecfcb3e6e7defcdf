#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ORVRefCount.h"
#include "ORVSmartPtr.h"

using ORV::SmartPtr;

namespace {

struct Shared : ORV::RefCounted {
  explicit Shared(int* deaths) : deaths(deaths) {}
  ~Shared() override { ++*deaths; }
  int* deaths;
};

struct Derived : Shared {
  using Shared::Shared;
};

}  // namespace

TEST(SmartPtr, CountsCopiesMovesAndAssignmentsAndTheLastReleaseDeletes) {
  int deaths = 0;
  SmartPtr<Shared> a(new Shared(&deaths)), b = a, c = std::move(b);
  c = *&c;  // self-assignment, spelt so that Clang does not warn
  EXPECT_TRUE(!b && a->NbRef() == 2);
  c.Reset();
  SmartPtr<Shared> other(new Shared(&deaths));
  a = other;  // from the last reference to the first object
  EXPECT_TRUE(deaths == 1 && a == other && other->NbRef() == 2);
  EXPECT_EQ(SmartPtr<Shared>(new Shared(*other))->NbRef(), 1) << "a copy of the object starts uncounted";
  const SmartPtr<Derived> derived(new Derived(&deaths));
  SmartPtr<Shared> base = derived;
  EXPECT_TRUE(base->NbRef() == 2 && base.Get() == derived.Get());
  a = nullptr, other = SmartPtr<Shared>(), base.Reset();
  EXPECT_EQ(deaths, 3);
  EXPECT_EQ(SmartPtr<ORV::RefCount<std::string>>(new ORV::RefCount<std::string>(3, 'x'))->size(), 3u);
}

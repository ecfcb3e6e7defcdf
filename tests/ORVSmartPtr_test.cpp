#include <gtest/gtest.h>

#include <utility>

#include "ORVRefCount.h"
#include "ORVSmartPtr.h"

using ORV::SmartPtr;

namespace {

struct Counted {
  explicit Counted(int* deletions) : deletions(deletions) {}
  virtual ~Counted() { ++*deletions; }
  void AddRef() { ++count; }
  void Release() {
    if (--count == 0) delete this;
  }
  int count = 0;
  int* deletions;
};

struct Derived : Counted {
  using Counted::Counted;
};

}  // namespace

TEST(SmartPtr, CountsCopiesMovesAndAssignments) {
  int deletions = 0;
  {
    SmartPtr<Counted> a(new Counted(&deletions));
    EXPECT_EQ(a->count, 1);
    SmartPtr<Counted> b = a;
    EXPECT_EQ(a->count, 2);
    SmartPtr<Counted> c = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(a->count, 2);
    c = *&c;  // self-assignment, spelt so that Clang does not warn
    EXPECT_EQ(a->count, 2);
    c.Reset();
    EXPECT_EQ(a->count, 1);
    EXPECT_EQ(deletions, 0);
  }
  EXPECT_EQ(deletions, 1);

  // Assigning from a handle that holds the last reference to the old object.
  SmartPtr<Counted> first(new Counted(&deletions));
  SmartPtr<Counted> second(new Counted(&deletions));
  first = second;
  EXPECT_EQ(deletions, 2);
  EXPECT_EQ(first, second);
  EXPECT_EQ(second->count, 2);
  first = nullptr;
  second = SmartPtr<Counted>();
  EXPECT_EQ(deletions, 3);

  SmartPtr<Derived> derived(new Derived(&deletions));
  SmartPtr<Counted> base = derived;
  EXPECT_EQ(base->count, 2);
  EXPECT_EQ(base.Get(), derived.Get());
}

namespace {

struct Shared : ORV::RefCounted {
  explicit Shared(int* deaths) : deaths(deaths) {}
  ~Shared() override { ++*deaths; }
  int* deaths;
};

struct Plain {
  int value = 7;
};

TEST(RefCounted, SmartPtrSharesAndTheLastReleaseDeletes) {
  int deaths = 0;
  {
    ORV::SmartPtr<Shared> a(new Shared(&deaths));
    EXPECT_EQ(a->NbRef(), 1);
    {
      const ORV::SmartPtr<Shared> b = a;
      EXPECT_EQ(a->NbRef(), 2);
      // A copy of the object is a new object with no references.
      const ORV::SmartPtr<Shared> c(new Shared(*a));
      EXPECT_EQ(c->NbRef(), 1);
    }
    EXPECT_EQ(deaths, 1);
    EXPECT_EQ(a->NbRef(), 1);
  }
  EXPECT_EQ(deaths, 2);

  const ORV::SmartPtr<ORV::RefCount<Plain>> wrapped(new ORV::RefCount<Plain>());
  EXPECT_EQ(wrapped->value, 7);
  EXPECT_EQ(wrapped->NbRef(), 1);
}

}  // namespace

// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The model when memory runs out. This program has an operator new of its own.
#include <cstdlib>
#include <new>
#include <vector>

#include "support/ModelTest.h"

namespace {

// How many allocations are still granted; unlimited when negative.
int allocationsLeft = -1;

}  // namespace

// Not inlined: a compiler that sees new here and free there takes them for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = allocationsLeft == 0 ? nullptr : std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace applist_test {
namespace {

using ::testing::ElementsAre;

class RemoteAppListModelMemory : public ModelTest {
 protected:
  // Whether the operation reports that memory has run out, when it has after `granted` allocations.
  template <class Operation>
  static bool RunsOut(Operation operation, int granted = 0) {
    const RecordingOff off;  // Which needs memory.
    allocationsLeft = granted;
    bool reported = false;
    try {
      operation();
    } catch (const std::bad_alloc&) {
      reported = true;
    }
    allocationsLeft = -1;
    return reported;
  }
};

TEST_F(RemoteAppListModelMemory, AListThatCannotBeCopiedLeavesTheModelAsItWas) {
  model->AddItems({&a, &b});
  EXPECT_TRUE(RunsOut([&] { model->GetAllItems(); }));
  EXPECT_FALSE(MutexHeld());
  EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
}

TEST_F(RemoteAppListModelMemory, AListenerThatCannotBeKeptIsNotRegistered) {
  TestListener listener("listener");
  EXPECT_TRUE(RunsOut([&] { model->AddItemSelectionListener(&listener); }));
  EXPECT_TRUE(RunsOut([&] { model->AddItemChangeListener(&listener); }));
  EXPECT_TRUE(RunsOut([&] { model->AddItemClickedListener(&listener); }));
  for (const int event : {1, 2, 3}) {
    EXPECT_THAT(RecordOf([event] { Notify(event); }),
                ::testing::Each(::testing::Not(::testing::EndsWith(" listener"))));
  }
}

TEST_F(RemoteAppListModelMemory, AnItemThatCannotBeAddedLeavesTheListAsItWasAndTheLockHeld) {
  EXPECT_TRUE(RunsOut([&] { model->AddItemAtEnd(&a); }));
  EXPECT_TRUE(MutexHeld());
  ReleaseHeldMutex();
  EXPECT_EQ(model->GetItemsCount(), 0);
}

TEST_F(RemoteAppListModelMemory, AFrameThatCannotBeBuiltLeavesTheChangeInPlace) {
  model->AddItems({&a, &b});
  EXPECT_TRUE(RunsOut([&] { model->RemoveAllItems(); }));
  EXPECT_FALSE(MutexHeld());
  EXPECT_EQ(model->GetItemsCount(), 0);
}

// The old selection is dropped as soon as the lock is held, whatever then becomes of the reply.
TEST_F(RemoteAppListModelMemory, ASelectionEventThatFailsUnderTheLockLeavesNoSelection) {
  model->AddItems({&a, &b});
  RemoteSelectionIs("Beta\nb\nA name too long for the string itself\nx\n");
  int failedUnderTheLock = 0;
  int granted = 0;
  do {
    model->SetSelection(&a);
    if (!RunsOut([] { Notify(APPLIST_ITEM_SELECTION_EVENT); }, granted)) {
      break;
    }
    const bool underTheLock = MutexHeld();
    failedUnderTheLock += underTheLock ? 1 : 0;
    ReleaseHeldMutex();
    ASSERT_EQ(model->GetSelection(), underTheLock ? nullptr : &a) << "granted " << granted;
  } while (++granted < 1000);
  EXPECT_GT(failedUnderTheLock, 0);
  EXPECT_EQ(model->GetSelection(), &b) << "once there is enough";
}

}  // namespace
}  // namespace applist_test

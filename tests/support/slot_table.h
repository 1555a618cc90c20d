// SPDX-License-Identifier: MIT
/// \file
/// Calls through the virtual table of an object, by the position of an operation in its class.
///
/// The order of virtual operations is a promise to binaries, so a test of it must not go through names. This
/// header includes nothing of the library, and neither does a test that uses it: both know an object by its
/// address alone, as another program's binary would.
#pragma once

#if defined(__clang__)
#define TEST_SLOT_NO_FUNCTION_CHECK __attribute__((no_sanitize("function")))
#else
#define TEST_SLOT_NO_FUNCTION_CHECK
#endif

/// The virtual table of one interface of an object.
///
/// Operations count from 1, as declared, in the base classes first. A virtual destructor is one declaration
/// and takes two entries of the table where the Itanium ABI holds (the complete and the deleting one), and
/// one entry with Microsoft's: this class is the one place that knows it.
class Test_SlotTable {
 public:
  /// \param iObjectP        the interface's address, that is the one that holds the pointer to its table
  /// \param iDestructorAt   which operation is the destructor, 0 for an interface that has none
  explicit Test_SlotTable(void* iObjectP, int iDestructorAt = 1)
      : mObjectP(iObjectP), mDestructorAt(iDestructorAt) {}

  /// Calls an operation that isn't the destructor. Arguments are passed as the types given for A, so name
  /// them: `table.Call<int, double>(3, 48000.0)`. For a reference give a pointer; for a class of the library
  /// that is returned by value give a structure of the same size, with a destructor if that class has one.
  template <class R, class... A>
  TEST_SLOT_NO_FUNCTION_CHECK R Call(int iOperation, A... iArguments) const {
    using Function = R (*)(void*, A...);
    return reinterpret_cast<Function>(Table()[EntryOf(iOperation)])(mObjectP, iArguments...);
  }

  /// Destroys and frees the object through its table.
  TEST_SLOT_NO_FUNCTION_CHECK void Delete() const {
#if defined(_MSC_VER)
    using Function = void* (*)(void*, unsigned);
    reinterpret_cast<Function>(Table()[EntryOf(mDestructorAt)])(mObjectP, 1u);
#else
    using Function = void (*)(void*);
    reinterpret_cast<Function>(Table()[EntryOf(mDestructorAt) + 1])(mObjectP);
#endif
  }

 private:
#if defined(_MSC_VER)
  static constexpr int kEntriesOfADestructor = 1;
#else
  static constexpr int kEntriesOfADestructor = 2;
#endif

  int EntryOf(int iOperation) const {
    const bool isBehindDestructor = mDestructorAt != 0 && iOperation > mDestructorAt;
    return iOperation - 1 + (isBehindDestructor ? kEntriesOfADestructor - 1 : 0);
  }

  void** Table() const { return *static_cast<void***>(mObjectP); }

  void* mObjectP;
  int mDestructorAt;
};

// SPDX-License-Identifier: MIT
// Random schedules of writes, pulls, jumps and clears against a model: what is pulled, in which order and
// with which times, what is reported, and what became of every single event.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "cmn/cmn_assert.h"
#include "tests/mlox/mlox_directmidi/delivery_support.h"
#include "tests/support/assert_mode.h"
#include "tests/support/assert_recorder.h"

namespace {
constexpr int kSchedules = 10000;
constexpr uint32_t kDefaultFirstSeed = 1;

// What the model knows of an event. Its number is in its bytes.
struct ModelEvent {
  int mNumber = 0;
  int mMessages = 0;
  int64_t mTime = 0;
};

// Number 0 to 16383, as two data bytes.
int High(int iNumber) { return (iNumber >> 7) & 0x7F; }
int Low(int iNumber) { return iNumber & 0x7F; }

// The events of a schedule by their kind: 0 nothing to hear, 1 a note, 3 a program with its bank, 2 a long
// sysex.
enum class EKind { kNothing, kNote, kLongSysex, kProgram };

Mdie_Event MakeEvent(EKind iKind, int iNumber) {
  switch (iKind) {
    case EKind::kNothing:
      return Mdie_Event();
    case EKind::kNote: {
      const unsigned char bytes[] = {0x90, static_cast<unsigned char>(High(iNumber)),
                                     static_cast<unsigned char>(Low(iNumber))};
      return Mdie_SysexPacketEvent(3, bytes);
    }
    case EKind::kLongSysex: {
      std::vector<unsigned char> bytes(100, 0);
      bytes[0] = 0xF0;
      bytes[1] = static_cast<unsigned char>(High(iNumber));
      bytes[2] = static_cast<unsigned char>(Low(iNumber));
      bytes[99] = 0xF7;
      return Mdie_SysexEvent(100, bytes.data());
    }
    case EKind::kProgram:
      return Test_BankAndProgram(High(iNumber), Low(iNumber), 7);
  }
  return Mdie_Event();
}

int MessagesOf(EKind iKind) {
  switch (iKind) {
    case EKind::kNothing:
      return 0;
    case EKind::kProgram:
      return 3;
    default:
      return 1;
  }
}

struct Heard {
  int64_t mTime;
  int mNumber;   // -1 where the message carries one half of it or none
  int mMessage;  // of its event

  bool operator==(const Heard&) const = default;
};

std::ostream& operator<<(std::ostream& oStream, const Heard& iHeard) {
  return oStream << "event " << iHeard.mNumber << " message " << iHeard.mMessage << " at " << iHeard.mTime;
}

// The rules of a buffered delivery over a sorted set: no streams, no heads, no links. Streams are written in
// order of time, so the earliest head of all is the least element of all, by time, then stream, then age.
class Model {
 public:
  void WriteNow(ModelEvent iEvent) { mImmediate.push_back(iEvent); }
  void Write(ModelEvent iEvent, int iStream) {
    mTimed.insert({iEvent.mTime, iStream, mAge++, iEvent.mNumber, iEvent.mMessages});
  }
  void WriteToNoStream() { ++mAbandoned; }

  std::optional<Heard> Pull(int64_t iStart, int64_t iEnd) {
    if (mLast > iEnd) mLast = iStart;
    if (!Settle()) return std::nullopt;
    if (mCurrentIsImmediate && mMessage == 0) {
      mCurrent->mTime = mLast;
    } else if (mCurrent->mTime < iStart) {
      mCurrent->mTime = mLast;
      Leave();
    } else if (mCurrent->mTime > iEnd) {
      NotDue();
      return std::nullopt;
    } else {
      Leave();
    }
    mLast = mCurrent->mTime;
    return Heard{mLast, mCurrent->mNumber, mMessage};
  }

  void Clear(bool iIsMessageHeld) {
    while (!iIsMessageHeld && Pull(0, 262142)) {
    }
    mAbandoned += mTimed.size();
    mTimed.clear();
  }

  // What the immediate FIFO still holds then is reported once and abandoned: the drain ends with the first
  // null, which only ends the timed phase if that is where it began.
  void Destroy() {
    Clear(false);
    if (!mImmediate.empty()) ++mReports;
    mAbandoned += mImmediate.size();
  }

  uint64_t mAbandoned = 0;
  uint64_t mReports = 0;

 private:
  using Entry = std::tuple<int64_t, int, int, int, int>;  // time, stream, age, number, messages

  bool Settle() {
    if (mCurrent && ++mMessage < mCurrent->mMessages) return true;
    mCurrent.reset();
    mMessage = 0;
    for (;;) {
      Fetch();
      if (mCurrent) return true;
      if (!mPhaseIsImmediate) {
        mPhaseIsImmediate = true;
        return false;
      }
      mPhaseIsImmediate = false;
    }
  }

  void Fetch() {
    if (mPhaseIsImmediate) {
      while (!mImmediate.empty() && mImmediate.front().mMessages == 0) mImmediate.pop_front();
      if (mImmediate.empty()) return;
      mCurrent = mImmediate.front();
      mCurrentIsImmediate = true;
      mImmediate.pop_front();
      return;
    }
    while (!mTimed.empty() && std::get<4>(*mTimed.begin()) == 0) mTimed.erase(mTimed.begin());
    if (mTimed.empty()) return;
    const Entry& first = *mTimed.begin();
    mCurrent = ModelEvent{std::get<3>(first), std::get<4>(first), std::get<0>(first)};
    mCurrentIsImmediate = false;
  }

  // The event leaves the merge with its first message; trying so again is reported.
  void Leave() {
    if (mMessage > 0) {
      ++mReports;
    } else {
      mTimed.erase(mTimed.begin());
    }
  }

  void NotDue() {
    if (mMessage > 0) ++mAbandoned;
    mCurrent.reset();
    mMessage = 0;
    mPhaseIsImmediate = true;
  }

  std::deque<ModelEvent> mImmediate;
  std::set<Entry> mTimed;
  int mAge = 0;
  std::optional<ModelEvent> mCurrent;
  bool mCurrentIsImmediate = false;
  int mMessage = 0;
  bool mPhaseIsImmediate = true;
  int64_t mLast = 0;
};

// One schedule: the same steps for the delivery and the model.
class Schedule {
 public:
  explicit Schedule(uint32_t iSeed) : mRandom(iSeed) {}

  void Run() {
    const uint64_t reportsBefore = Cmn_Assert::ReportCount();
    const int steps = Pick(5, 60);
    for (int i = 0; i < steps && !::testing::Test::HasFatalFailure(); ++i) Step();
    Check();
    if (::testing::Test::HasFatalFailure()) return;
    Release();
    mDelivery.Release();
    mModel.Destroy();
    EXPECT_EQ(mDelivery.Abandoned(), mModel.mAbandoned);
    EXPECT_EQ(mDelivery.InUse(), mModel.mAbandoned) << "all else was pulled or dropped, and freed";
    EXPECT_EQ(Cmn_Assert::ReportCount() - reportsBefore, mModel.mReports + mOtherReports);
    sEvents += static_cast<uint64_t>(mNumber);
    sHeard += mHeard;
    sAbandoned += mModel.mAbandoned;
  }

  static inline uint64_t sEvents = 0, sHeard = 0, sAbandoned = 0;

 private:
  int Pick(int iLow, int iHigh) { return std::uniform_int_distribution<int>(iLow, iHigh)(mRandom); }

  void Step() {
    switch (Pick(0, 19)) {
      case 0:
        return Clear();
      case 1:
        return Jump();
      case 2:
        return WriteToNoStream();
      case 3:
      case 4:
        return PullSome(Pick(1, 4));
      case 5:
      case 6:
      case 7:
        return PullBlock();
      case 8:
      case 9:
        return WriteNow();
      default:
        return WriteTimed();
    }
  }

  EKind Kind() {
    const int kind = Pick(0, 9);
    if (kind == 0) return EKind::kNothing;
    if (kind == 1) return EKind::kLongSysex;
    if (kind < 4) return EKind::kProgram;
    return EKind::kNote;
  }

  void WriteNow() {
    const EKind kind = Kind();
    const int number = mNumber++;
    mDelivery.WriteNow(MakeEvent(kind, number));
    mModel.WriteNow({number, MessagesOf(kind), 0});
  }

  void WriteTimed() {
    const EKind kind = Kind();
    const int number = mNumber++;
    const int stream = Pick(0, 2);
    int64_t& time = mStreamTime[static_cast<std::size_t>(stream)];
    // Now and then far ahead, behind the limit of a clear's drain.
    time += Pick(0, 99) == 0 ? Pick(0, 300000) : Pick(0, 40);
    mDelivery.Write(time, MakeEvent(kind, number), static_cast<std::size_t>(stream));
    mModel.Write({number, MessagesOf(kind), time}, stream);
  }

  void WriteToNoStream() {
    const uint64_t before = Cmn_Assert::ReportCount();
    Test_IgnoringThrow([&] {
      mDelivery->WriteEvent(Test_At(5), MakeEvent(EKind::kNote, mNumber++), 0, Mlox_OutputContextRef());
    });
    mOtherReports += Cmn_Assert::ReportCount() - before;
    mModel.WriteToNoStream();
  }

  void Clear() {
    if (Pick(0, 1) == 0) Release();
    const bool isHeld = mHeldP != nullptr;
    mDelivery->ClearQueues();
    mModel.Clear(isHeld);
    if (isHeld) Release();
    mStreamTime = {mStart, mStart, mStart};
  }

  void Jump() {
    mStart = Pick(0, 400);
    mLength = 1 << Pick(0, 8);
  }

  void PullBlock() {
    while (PullOne()) {
      if (::testing::Test::HasFatalFailure()) return;
    }
    mStart += mLength;
  }

  void PullSome(int iCount) {
    for (int i = 0; i < iCount && PullOne(); ++i) {
    }
  }

  bool PullOne() {
    Release();
    mHeldP = mDelivery->GetNextMessageInSampleRange(mStart, mStart + mLength - 1);
    const std::optional<Heard> expected = mModel.Pull(mStart, mStart + mLength - 1);
    Compare(expected);
    if (mHeldP != nullptr) ++mHeard;
    return mHeldP != nullptr && !::testing::Test::HasFatalFailure();
  }

  void Compare(const std::optional<Heard>& iExpected) {
    ASSERT_EQ(mHeldP != nullptr, iExpected.has_value()) << "block from " << mStart;
    if (!iExpected) return;
    const Test_Pulled pulled = Test_Read(*mHeldP);
    ASSERT_EQ(pulled.mTime, iExpected->mTime) << *iExpected;
    const auto& bytes = pulled.mBytes;
    const int high = High(iExpected->mNumber), low = Low(iExpected->mNumber);
    if (bytes[0] == 0xB0) {
      ASSERT_EQ(bytes,
                (iExpected->mMessage == 0 ? Test_Bytes{0xB0, 0x00, high} : Test_Bytes{0xB0, 0x20, low}));
    } else if (bytes[0] == 0xC0) {
      ASSERT_EQ(iExpected->mMessage, 2);
    } else {
      ASSERT_EQ(bytes[1], high) << *iExpected;
      ASSERT_EQ(bytes[2], low) << *iExpected;
      ASSERT_EQ(bytes.size(), bytes[0] == 0xF0 ? 100u : 3u);
    }
  }

  void Check() { EXPECT_EQ(mDelivery.Abandoned(), mModel.mAbandoned); }

  void Release() {
    if (mHeldP != nullptr) mHeldP->Release();
    mHeldP = nullptr;
  }

  std::mt19937 mRandom;
  Test_Delivery mDelivery;
  Model mModel;
  IDirectMIDIMessage* mHeldP = nullptr;
  std::array<int64_t, 3> mStreamTime{};
  int64_t mStart = 0;
  int64_t mLength = 64;
  int mNumber = 0;
  uint64_t mHeard = 0;
  uint64_t mOtherReports = 0;
};

uint32_t FirstSeed() {
  const char* const textP = std::getenv("MLOX_TEST_SEED");
  return textP == nullptr ? kDefaultFirstSeed : static_cast<uint32_t>(std::strtoul(textP, nullptr, 10));
}

TEST(Mlox_DM_BufferedDeliveryModelTest, PulledOrderTimesReportsAndFatesAgreeOver10000RandomSchedules) {
  const Test_AssertRecorder recorder;
  const uint32_t first = FirstSeed();
  std::printf("seeds %u to %u; MLOX_TEST_SEED sets the first\n", first, first + kSchedules - 1);
  for (uint32_t i = 0; i < kSchedules; ++i) {
    SCOPED_TRACE("seed " + std::to_string(first + i));
    Schedule(first + i).Run();
    if (HasFailure()) return;
  }
  std::printf("%llu events written, %llu messages pulled, %llu events left allocated by a rule and counted\n",
              static_cast<unsigned long long>(Schedule::sEvents),
              static_cast<unsigned long long>(Schedule::sHeard),
              static_cast<unsigned long long>(Schedule::sAbandoned));
  // The schedules must reach what they are for.
  EXPECT_GT(Schedule::sHeard, 100000u);
  EXPECT_GT(Schedule::sAbandoned, 1000u);
}

}  // namespace

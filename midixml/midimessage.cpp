// SPDX-License-Identifier: MIT
#include "midixml/midimessage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace midixml {

// The bytes lie directly behind the header, in one allocation.
class MIDIMessage::LargeMessage final : public SharedObject {
 public:
  static LargeMessage* Make(int32_t iCapacity) {
    void* memoryP = std::malloc(sizeof(LargeMessage) + static_cast<size_t>(iCapacity));
    if (!memoryP) throw std::bad_alloc();
    return ::new (memoryP) LargeMessage(iCapacity);
  }
  static void operator delete(void* iMemoryP) noexcept { std::free(iMemoryP); }

  uint8_t* GetBytes() { return reinterpret_cast<uint8_t*>(this + 1); }
  int32_t GetCapacity() const { return mCapacity; }

 private:
  explicit LargeMessage(int32_t iCapacity) : mCapacity(iCapacity) {}

  int32_t mCapacity;
};

namespace {

// A body is as large as its bytes, and each Append makes a new one. Only from this size on does it get room
// to grow, and a body that nobody shares is appended to in place: a system exclusive message of megabytes
// arrives in thousands of pieces, and a full copy for each would cost the square of its length. That is
// decided: bytes, length and what copies hold are the same either way, and a pointer from GetData ends with
// the next change in both.
constexpr int32_t kGrowingBody = 4096;

int32_t CapacityFor(int32_t iLength) {
  if (iLength < kGrowingBody) return iLength;
  const int64_t wanted = int64_t{iLength} + iLength / 2;
  return static_cast<int32_t>(std::min<int64_t>(wanted, std::numeric_limits<int32_t>::max()));
}

}  // namespace

MIDIMessage::MIDIMessage(const MIDIMessage& iOther) : mLength(iOther.mLength), mU(iOther.mU) {
  if (IsLarge()) mU.mLargeP->AddReference();
}

MIDIMessage::MIDIMessage(MIDIMessage&& iOther) noexcept
    : mLength(std::exchange(iOther.mLength, 0)), mU(iOther.mU) {}

MIDIMessage::~MIDIMessage() { ReleaseLarge(); }

MIDIMessage& MIDIMessage::operator=(const MIDIMessage& iOther) {
  MIDIMessage copy(iOther);
  *this = std::move(copy);
  return *this;
}

MIDIMessage& MIDIMessage::operator=(MIDIMessage&& iOther) noexcept {
  std::swap(mLength, iOther.mLength);
  std::swap(mU, iOther.mU);
  return *this;
}

const uint8_t* MIDIMessage::GetData() const { return IsLarge() ? mU.mLargeP->GetBytes() : mU.mInline; }

void MIDIMessage::ReleaseLarge() {
  if (IsLarge()) mU.mLargeP->RemoveReference();
}

void MIDIMessage::Set(int32_t iLength, const void* iBytesP) {
  MIDIMessage fresh;
  if (iLength > 0) std::memcpy(fresh.GrowTo(iLength), iBytesP, static_cast<size_t>(iLength));
  *this = std::move(fresh);
}

void MIDIMessage::Append(int32_t iLength, const void* iBytesP) {
  if (iLength < 1) return;
  const int32_t oldLength = mLength;
  if (iLength > std::numeric_limits<int32_t>::max() - oldLength) throw std::bad_alloc();
  std::memcpy(GrowTo(oldLength + iLength) + oldLength, iBytesP, static_cast<size_t>(iLength));
}

// Makes the message longer, keeps the bytes that are there, and gives the place of all bytes.
uint8_t* MIDIMessage::GrowTo(int32_t iLength) {
  if (iLength <= kInlineCapacity) {
    mLength = iLength;
    return mU.mInline;
  }
  const bool canStay =
      IsLarge() && mU.mLargeP->GetReferenceCount() == 1 && mU.mLargeP->GetCapacity() >= iLength;
  if (!canStay) {
    LargeMessage* freshP = LargeMessage::Make(CapacityFor(iLength));
    std::memcpy(freshP->GetBytes(), GetData(), static_cast<size_t>(mLength));
    ReleaseLarge();
    mU.mLargeP = freshP;
  }
  mLength = iLength;
  return mU.mLargeP->GetBytes();
}

}  // namespace midixml

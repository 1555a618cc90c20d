// SPDX-License-Identifier: MIT
// Closes every handle on the library while threads are inside, as a host may do with a plug-in whose threads
// still hold interfaces. This program is linked to nothing of the library and reaches it through tables
// alone.
#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "mlox/mlox_directmidi/idirectmidibuffereddelivery.h"
#include "mlox/mlox_directmidi/idirectmidiinputreceivemidi.h"
#include "tests/integration/shared_library/player.h"

namespace {

int Fail(const char* iWhatP) {
  std::fprintf(stderr, "%s\n", iWhatP);
  return 1;
}

/// Goes round on a thread of its own until it is told to stop.
template <class Round>
class Worker {
 public:
  explicit Worker(Round iRound)
      : mThread([this, iRound] {
          while (!mStop) {
            iRound();
            ++mRounds;
          }
        }) {}
  ~Worker() {
    mStop = true;
    mThread.join();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void WaitForRounds(long iRounds) const {
    const long before = mRounds;
    while (mRounds < before + iRounds) std::this_thread::yield();
  }

 private:
  std::atomic<bool> mStop{false};
  std::atomic<long> mRounds{0};
  std::thread mThread;
};

}  // namespace

int main(int iCount, char** iArgumentsP) {
  if (iCount != 3) return Fail("usage: LIBRARY GUEST");
  const char* libraryP = iArgumentsP[1];
  void* handleP = dlopen(libraryP, RTLD_NOW);
  void* guestP = dlopen(iArgumentsP[2], RTLD_NOW);
  if (handleP == nullptr || guestP == nullptr) return Fail(dlerror());
  auto* openNodes =
      reinterpret_cast<decltype(&SharedLibrary_OpenNodes)>(dlsym(guestP, "SharedLibrary_OpenNodes"));
  if (openNodes == nullptr) return Fail("the guest lacks the operation");
  void* deliveryP = nullptr;
  void* receiveP = nullptr;
  openNodes(&deliveryP, &receiveP);

  const Worker puller([deliveryP] {
    static_cast<IDirectMIDIBufferedDelivery*>(deliveryP)->GetNextMessageInSampleRange(0, 63);
  });
  const Worker sender([receiveP] {
    const unsigned char note[] = {0x90, 60, 100};
    static_cast<IDirectMIDIInputReceiveMIDI*>(receiveP)->ReceiveMIDI(note, 3, -1);
  });
  puller.WaitForRounds(100);
  sender.WaitForRounds(100);
  if (dlclose(guestP) != 0 || dlclose(handleP) != 0) return Fail("a handle can't be closed");
  if (dlopen(iArgumentsP[2], RTLD_NOW | RTLD_NOLOAD) != nullptr) return Fail("the guest is still there");
  puller.WaitForRounds(1000);
  sender.WaitForRounds(1000);
  return dlopen(libraryP, RTLD_NOW | RTLD_NOLOAD) != nullptr ? 0 : Fail("the library is gone");
}

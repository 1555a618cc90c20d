// SPDX-License-Identifier: MIT
/// \file
/// One client of the sequencer.
#pragma once

#include <alsa/asoundlib.h>

#include <memory>
#include <string>

/// Where a port is, while it is there.
struct Platform_AlsaAddress {
  int mClient = -1;
  int mPort = -1;
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler writes here has no pointer
  auto operator<=>(const Platform_AlsaAddress&) const = default;
};

/// An open client, non-blocking, with the largest pools there are. ALSA's handles know no locks: whoever owns
/// one guards it.
class Platform_AlsaHandle {
 public:
  /// Events that may wait in each direction: the kernel's largest number. By default an output refuses at 500
  /// and an input at 200, and the size can't be changed while events wait.
  static constexpr std::size_t kPool = 2'000;

  /// Null with a reason for people when there is no sequencer, or no right to it. The client bears the
  /// application's name.
  static std::unique_ptr<Platform_AlsaHandle> Open(std::string& oReason);
  ~Platform_AlsaHandle();
  Platform_AlsaHandle(const Platform_AlsaHandle&) = delete;
  Platform_AlsaHandle& operator=(const Platform_AlsaHandle&) = delete;

  snd_seq_t* Get() const { return mHandleP; }
  int Client() const { return mClient; }
  /// Readable while events wait.
  int Descriptor() const;

  /// Makes a port that other programs don't see. \param iCapabilities without NO_EXPORT, which is added.
  /// \returns its number, negative when there can't be one.
  int MakePort(const char* iName, unsigned iCapabilities) const;
  void DeletePort(int iPort) const;
  /// False when either is not there, or the hardware can't be opened.
  bool Subscribe(const Platform_AlsaAddress& iFrom, const Platform_AlsaAddress& iTo) const;
  bool IsSubscribed(const Platform_AlsaAddress& iFrom, const Platform_AlsaAddress& iTo) const;

 private:
  explicit Platform_AlsaHandle(snd_seq_t* iHandleP);

  snd_seq_t* const mHandleP;
  const int mClient;
};

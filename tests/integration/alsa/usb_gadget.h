// SPDX-License-Identifier: MIT
/// \file
/// An emulated USB MIDI interface: the kernel plays both the device (dummy_udc, usb_f_midi) and the socket it
/// is plugged into (dummy_hcd, snd-usb-audio). Only in the guest, as root.
#pragma once

#include <string>

/// One interface in one socket. Its far side, where a player's fingers would be, is a card as well.
class Test_UsbGadget {
 public:
  /// \param iSocket 0 or 1.
  Test_UsbGadget(int iSocket, std::string iProduct, std::string iSerial, int iPorts = 1);
  /// Unplugs.
  ~Test_UsbGadget();
  Test_UsbGadget(const Test_UsbGadget&) = delete;
  Test_UsbGadget& operator=(const Test_UsbGadget&) = delete;

  /// Returns when both sides are clients of the sequencer; false when they don't get there in time.
  bool Plug();
  /// Returns when the near side is gone.
  bool Unplug();

  /// The client of the sequencer that is the far side; -1 while there is none.
  int FarClient() const;
  /// The client that a program sees as the interface; -1 while it is not plugged.
  int NearClient() const;

 private:
  std::string Folder() const;
  int ClientOf(const std::string& iPartOfPath) const;

  const int mSocket;
  const std::string mProduct;
  const std::string mSerial;
  const int mPorts;
  bool mIsPlugged = false;
};

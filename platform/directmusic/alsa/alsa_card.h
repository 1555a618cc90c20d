// SPDX-License-Identifier: MIT
/// \file
/// What sysfs tells of a sound card: who made it, and where it sits.
#pragma once

#include <optional>
#include <string>

/// A card's durable address and its maker's words. Numbers that follow the order of registration (of cards,
/// of USB buses, of devices on a bus) have no part in it.
struct Platform_AlsaCard {
  std::string mProduct;  ///< vendor and product, "1235:8010"; empty when nothing tells them
  std::string mSerial;   ///< empty when the card has none
  /// The controller's place, then for USB the chain of ports and the interface: "pci0000:00/0000:00:14.0/usb
  /// 2.1:1.0".
  std::string mPath;
  std::string mManufacturer;
  std::string mModel;
  bool mIsVirtual = false;  ///< there is no hardware behind it: virmidi

  /// Reads the card of that number. Nothing when it is not there, or is just being taken away.
  /// \param iSysfs where sysfs is mounted, "/sys".
  static std::optional<Platform_AlsaCard> Read(const std::string& iSysfs, int iCard);
};

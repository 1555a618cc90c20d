// SPDX-License-Identifier: MIT
/// \file
/// The root interface of all components that plug-ins hold, and the ids of interfaces.
#pragma once

#include <cstdint>

/// The id of an interface: 16 bytes, always compared whole. Its name is part of the interface to plug-ins.
struct _qcfUID {                // NOLINT(bugprone-reserved-identifier): plug-ins know it by this name
  std::uint32_t mData1 = 0;     ///< First group of the id's text form.
  std::uint16_t mData2 = 0;     ///< Second group.
  std::uint16_t mData3 = 0;     ///< Third group.
  std::uint8_t mData4[8] = {};  ///< Fourth group and fifth group, byte by byte.

  friend constexpr bool operator==(const _qcfUID&, const _qcfUID&) = default;
};
static_assert(sizeof(_qcfUID) == 16, "an interface id is 16 bytes");

/// The result of a query that succeeded.
inline constexpr std::int32_t kQCF_Ok = 0;
/// The result of a query for an interface that a component doesn't have: 0x80000004.
inline constexpr std::int32_t kQCF_NoInterface = static_cast<std::int32_t>(0x80000004U);

/// The root interface. Frozen: three operations, in this order, and no destructor in the table: holders
/// release, they don't delete.
class IQCFUnknown {
 public:
  /// {00000000-0000-0000-C000-000000000046}
  static constexpr _qcfUID kUID = {
      0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  /// Asks for an interface of the same component. oResultPP: the interface, with a reference for the caller,
  /// or null. Returns kQCF_Ok or kQCF_NoInterface. [any]
  virtual std::int32_t QueryInterface(const _qcfUID& iID, void** oResultPP) = 0;
  /// Adds a reference and returns the new count. [any]
  virtual std::uint32_t AddRef() = 0;
  /// Drops a reference and returns the new count; at 0 the component is gone. [any]
  virtual std::uint32_t Release() = 0;

 protected:
  ~IQCFUnknown() = default;
};

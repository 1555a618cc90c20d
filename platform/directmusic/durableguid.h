// SPDX-License-Identifier: MIT
/// \file
/// Identities of ports that last: the same socket of the same card has the same GUID for ever.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/directmusic/driver.h"
#include "platform/directmusic/windows_types.h"

#if !defined(_WIN32)

/// One port whose card has a serial number, as it was seen before. Kept by whoever keeps the studio.
struct Platform_IdentityRow {
  std::string mGuid;     ///< the GUID's text
  std::string mProduct;  ///< vendor and product
  std::string mSerial;
  std::string mPath;  ///< card's path, socket and direction
};

/// What is known of cards with serial numbers. Makers give all their cards one serial often enough that the
/// number alone tells nothing until a second card is there. [worker of the root]
class Platform_IdentityTable {
 public:
  virtual ~Platform_IdentityTable() = default;
  virtual std::vector<Platform_IdentityRow> Rows() = 0;
  /// Adds a row, or gives the row of that GUID another path. What is put follows from the last answer of
  /// Rows.
  virtual void Put(const Platform_IdentityRow& iRow) = 0;
};

/// A version 5 UUID (RFC 4122) of a text, in a name space of this library's.
GUID Platform_GuidOfText(const std::string& iText);

/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper case.
std::string Platform_GuidToText(const GUID& iGuid);

/// Gives each of the ports its GUID's text. What is no card goes by its address, a card without a serial
/// number by its path. A card with one takes the table's row with its path, else the one row with its serial
/// that is absent, else a new row; the first card of a serial goes by the serial, later ones by serial and
/// path. Without a table the path always counts. No two rows have one GUID.
std::vector<GUID> Platform_IdentifyPorts(const std::vector<Platform_PortInfo>& iPorts,
                                         Platform_IdentityTable* iTableP);

#endif

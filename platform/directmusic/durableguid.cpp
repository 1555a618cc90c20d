// SPDX-License-Identifier: MIT
#include "platform/directmusic/durableguid.h"

#if !defined(_WIN32)

#include <uuid/uuid.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "platform/directmusic/windows_com.h"

namespace {

// The library's own name space; drawn once, at random.
constexpr uuid_t kNamespace = {0x5e, 0x3d, 0x1c, 0x84, 0x6f, 0x0b, 0x4b, 0x8e,
                               0x9a, 0x27, 0x41, 0xd0, 0x73, 0x2e, 0xc5, 0x19};

// Parts of an address are told apart by a byte that no part holds.
constexpr char kSeparator = '\x1f';

std::string Join(std::initializer_list<std::string> iParts) {
  std::string text;
  for (const std::string& part : iParts) {
    text += part;
    text += kSeparator;
  }
  return text;
}

const char* Direction(const Platform_PortInfo& iPort) { return iPort.mIsInput ? "in" : "out"; }

std::string PortPath(const Platform_PortInfo& iPort) {
  return iPort.mPath + "|" + iPort.mPlace + "|" + Direction(iPort);
}

std::string SocketOf(const std::string& iPortPath) {
  const std::size_t end = iPortPath.rfind('|');
  const std::size_t begin =
      end == std::string::npos || end == 0 ? std::string::npos : iPortPath.rfind('|', end - 1);
  return begin == std::string::npos ? iPortPath : iPortPath.substr(begin);
}

// iNumber: empty but where two would be the same.
GUID GuidByPath(const Platform_PortInfo& iPort, const std::string& iNumber = "") {
  return Platform_GuidOfText(
      Join({iPort.mDriver, iPort.mProduct, iPort.mSerial, iPort.mPath, iPort.mPlace, Direction(iPort)}) +
      iNumber);
}

GUID GuidBySerial(const Platform_PortInfo& iPort) {
  return Platform_GuidOfText(
      Join({iPort.mDriver, iPort.mProduct, iPort.mSerial, "", iPort.mPlace, Direction(iPort)}));
}

// Settles the cards with serial numbers against the table, all of one scan together: which rows are absent
// depends on which are taken.
class SerialCards {
 public:
  SerialCards(const std::vector<Platform_PortInfo>& iPorts, Platform_IdentityTable& ioTable)
      : mPorts(iPorts), mTable(ioTable), mRows(ioTable.Rows()), mGuids(iPorts.size()) {}

  std::vector<std::string> Settle() {
    ForEachOpen(&SerialCards::TakeRowOfPath);
    ForEachOpen(&SerialCards::TakeAbsentRow);
    ForEachOpen(&SerialCards::AddRow);
    return mGuids;
  }

 private:
  void ForEachOpen(void (SerialCards::*iStep)(std::size_t)) {
    for (std::size_t i = 0; i < mPorts.size(); ++i) {
      if (!mPorts[i].mSerial.empty() && mGuids[i].empty()) {
        (this->*iStep)(i);
      }
    }
  }

  // Rows of this card's product and serial, for the same socket and direction.
  std::vector<Platform_IdentityRow*> Kin(std::size_t iIndex) {
    std::vector<Platform_IdentityRow*> kin;
    const Platform_PortInfo& port = mPorts[iIndex];
    const std::string socket = SocketOf(PortPath(port));
    for (Platform_IdentityRow& row : mRows) {
      if (row.mProduct == port.mProduct && row.mSerial == port.mSerial && SocketOf(row.mPath) == socket) {
        kin.push_back(&row);
      }
    }
    return kin;
  }

  void Take(std::size_t iIndex, const Platform_IdentityRow& iRow) {
    mGuids[iIndex] = iRow.mGuid;
    mTaken.insert(iRow.mGuid);
  }

  void TakeRowOfPath(std::size_t iIndex) {
    const std::string path = PortPath(mPorts[iIndex]);
    for (const Platform_IdentityRow* row : Kin(iIndex)) {
      if (row->mPath == path && mTaken.count(row->mGuid) == 0) {
        Take(iIndex, *row);
        return;
      }
    }
  }

  void TakeAbsentRow(std::size_t iIndex) {
    std::vector<Platform_IdentityRow*> absent;
    for (Platform_IdentityRow* row : Kin(iIndex)) {
      if (mTaken.count(row->mGuid) == 0) {
        absent.push_back(row);
      }
    }
    if (absent.size() != 1) {
      return;
    }
    absent.front()->mPath = PortPath(mPorts[iIndex]);
    mTable.Put(*absent.front());
    Take(iIndex, *absent.front());
  }

  void AddRow(std::size_t iIndex) {
    const Platform_PortInfo& port = mPorts[iIndex];
    GUID guid = Kin(iIndex).empty() ? GuidBySerial(port) : GuidByPath(port);
    // A card that has been moved keeps the GUID of its first path, which another card may have now.
    for (int number = 2; IsKnown(guid); ++number) {
      guid = GuidByPath(port, std::to_string(number));
    }
    mRows.push_back({Platform_GuidToText(guid), port.mProduct, port.mSerial, PortPath(port)});
    mTable.Put(mRows.back());
    Take(iIndex, Platform_IdentityRow(mRows.back()));
  }

  bool IsKnown(const GUID& iGuid) const {
    const std::string text = Platform_GuidToText(iGuid);
    return std::any_of(mRows.begin(), mRows.end(),
                       [&](const Platform_IdentityRow& iRow) { return iRow.mGuid == text; });
  }

  const std::vector<Platform_PortInfo>& mPorts;
  Platform_IdentityTable& mTable;
  std::vector<Platform_IdentityRow> mRows;
  std::vector<std::string> mGuids;
  std::set<std::string> mTaken;
};

GUID GuidFromText(const std::string& iText) {
  GUID guid{};
  unsigned int data4[8] = {};
  unsigned int data1 = 0;
  unsigned int data2 = 0;
  unsigned int data3 = 0;
  const int read =
      std::sscanf(iText.c_str(), "{%8X-%4X-%4X-%2X%2X-%2X%2X%2X%2X%2X%2X}", &data1, &data2, &data3, &data4[0],
                  &data4[1], &data4[2], &data4[3], &data4[4], &data4[5], &data4[6], &data4[7]);
  if (read != 11) {
    return Platform_GuidOfText(iText);
  }
  guid.Data1 = data1;
  guid.Data2 = static_cast<std::uint16_t>(data2);
  guid.Data3 = static_cast<std::uint16_t>(data3);
  std::transform(std::begin(data4), std::end(data4), std::begin(guid.Data4),
                 [](unsigned int iByte) { return static_cast<std::uint8_t>(iByte); });
  return guid;
}

}  // namespace

GUID Platform_GuidOfText(const std::string& iText) {
  uuid_t bytes;
  uuid_generate_sha1(bytes, kNamespace, iText.data(), iText.size());
  GUID guid{};
  guid.Data1 = (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
               (std::uint32_t{bytes[2]} << 8) | std::uint32_t{bytes[3]};
  guid.Data2 = static_cast<std::uint16_t>((bytes[4] << 8) | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>((bytes[6] << 8) | bytes[7]);
  std::copy(bytes + 8, bytes + 16, guid.Data4);
  return guid;
}

std::string Platform_GuidToText(const GUID& iGuid) {
  OLECHAR wide[40] = {};
  const int length = StringFromGUID2(iGuid, wide, 40);
  std::string text;
  for (int i = 0; i + 1 < length; ++i) {
    text.push_back(static_cast<char>(wide[i]));
  }
  return text;
}

std::vector<GUID> Platform_IdentifyPorts(const std::vector<Platform_PortInfo>& iPorts,
                                         Platform_IdentityTable* iTableP) {
  std::vector<std::string> settled(iPorts.size());
  if (iTableP != nullptr) {
    settled = SerialCards(iPorts, *iTableP).Settle();
  }
  std::vector<GUID> guids;
  for (std::size_t i = 0; i < iPorts.size(); ++i) {
    guids.push_back(settled[i].empty() ? GuidByPath(iPorts[i]) : GuidFromText(settled[i]));
  }
  return guids;
}

#endif

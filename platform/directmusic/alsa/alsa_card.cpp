// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_card.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

namespace {

namespace fs = std::filesystem;

// sysfs never gives more than a page.
constexpr std::streamsize kMostText = 4096;

// Buses up to 480 Mbit/s and those above are two root hubs of one controller, whose ports both count from 1.
constexpr int kHighSpeed = 480;

bool IsBlank(char iCharacter) {
  return iCharacter == ' ' || iCharacter == '\t' || iCharacter == '\n' || iCharacter == '\r' ||
         iCharacter == '\0';
}

// The text of one attribute without white space at its ends; empty when it can't be read.
std::string Attribute(const fs::path& iFile) {
  std::ifstream stream(iFile, std::ios::binary);
  std::string text(kMostText, '\0');
  stream.read(text.data(), kMostText);
  text.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  while (!text.empty() && IsBlank(text.back())) {
    text.pop_back();
  }
  const auto first = std::find_if(text.begin(), text.end(), [](char iByte) { return !IsBlank(iByte); });
  text.erase(text.begin(), first);
  return text;
}

bool IsDigit(char iCharacter) { return iCharacter >= '0' && iCharacter <= '9'; }

bool IsNumber(const std::string& iText) {
  return !iText.empty() && std::all_of(iText.begin(), iText.end(), IsDigit);
}

// "usb3"
bool IsUsbBus(const std::string& iName) { return iName.rfind("usb", 0) == 0 && IsNumber(iName.substr(3)); }

// "3-1.4" gives "1.4", "3-1.4:1.0" gives "1.4:1.0": what stands behind the number of the bus. Empty when it
// is no such name.
std::string BehindBus(const std::string& iName) {
  const std::size_t dash = iName.find('-');
  if (dash == std::string::npos || !IsNumber(iName.substr(0, dash))) {
    return "";
  }
  return iName.substr(dash + 1);
}

// "0000:00:1b.0"
bool IsPciDevice(const std::string& iName) {
  return iName.size() >= 12 && iName[4] == ':' && iName[7] == ':' && iName[10] == '.' &&
         std::all_of(iName.begin(), iName.begin() + 4,
                     [](unsigned char iByte) { return std::isxdigit(iByte) != 0; });
}

// "0x8086" gives "8086".
std::string WithoutPrefix(const std::string& iText) {
  return iText.rfind("0x", 0) == 0 ? iText.substr(2) : iText;
}

std::string JoinNumbers(const std::string& iVendor, const std::string& iProduct) {
  return iVendor.empty() || iProduct.empty() ? "" : iVendor + ":" + iProduct;
}

// The way from sysfs' devices folder down to the card's device, taken apart.
class Way {
 public:
  Way(const fs::path& iDevices, const fs::path& iDevice) : mDevices(iDevices) {
    for (const fs::path& part : iDevice.lexically_relative(iDevices)) {
      mParts.push_back(part.string());
    }
  }

  Platform_AlsaCard Card() const {
    Platform_AlsaCard card;
    const auto bus = std::find_if(mParts.begin(), mParts.end(), IsUsbBus);
    if (bus != mParts.end()) {
      ReadUsb(static_cast<std::size_t>(bus - mParts.begin()), card);
    } else {
      ReadOther(card);
    }
    card.mIsVirtual = std::any_of(mParts.begin(), mParts.end(), [](const std::string& iPart) {
      return iPart.rfind("snd_virmidi", 0) == 0;
    });
    return card;
  }

 private:
  fs::path Folder(std::size_t iCount) const {
    fs::path folder = mDevices;
    for (std::size_t i = 0; i < iCount; ++i) {
      folder /= mParts[i];
    }
    return folder;
  }

  std::string Joined(std::size_t iCount) const {
    std::string text;
    for (std::size_t i = 0; i < iCount; ++i) {
      text += (i > 0 ? "/" : "") + mParts[i];
    }
    return text;
  }

  void ReadUsb(std::size_t iBus, Platform_AlsaCard& oCard) const {
    std::size_t device = iBus;
    std::string place;
    for (std::size_t i = iBus + 1; i < mParts.size(); ++i) {
      const std::string behind = BehindBus(mParts[i]);
      if (behind.empty()) {
        break;
      }
      place = behind;
      if (behind.find(':') != std::string::npos) {
        break;
      }
      device = i;
    }
    const fs::path folder = Folder(device + 1);
    oCard.mProduct = JoinNumbers(Attribute(folder / "idVendor"), Attribute(folder / "idProduct"));
    oCard.mSerial = Attribute(folder / "serial");
    oCard.mManufacturer = Attribute(folder / "manufacturer");
    oCard.mModel = Attribute(folder / "product");
    const int speed = std::atoi(Attribute(Folder(iBus + 1) / "speed").c_str());
    oCard.mPath = Joined(iBus) + (speed > kHighSpeed ? "/superusb " : "/usb ") + place;
  }

  void ReadOther(Platform_AlsaCard& oCard) const {
    std::size_t count = mParts.size();
    while (count > 0 && !IsPciDevice(mParts[count - 1])) {
      --count;
    }
    if (count > 0) {
      const fs::path folder = Folder(count);
      oCard.mProduct = JoinNumbers(WithoutPrefix(Attribute(folder / "vendor")),
                                   WithoutPrefix(Attribute(folder / "device")));
    }
    oCard.mPath = Joined(mParts.size());
  }

  const fs::path mDevices;
  std::vector<std::string> mParts;
};

}  // namespace

std::optional<Platform_AlsaCard> Platform_AlsaCard::Read(const std::string& iSysfs, int iCard) {
  const fs::path sysfs = iSysfs;
  std::error_code error;
  const fs::path link = sysfs / "class" / "sound" / ("card" + std::to_string(iCard)) / "device";
  const fs::path device = fs::canonical(link, error);
  if (error) {
    return std::nullopt;
  }
  const fs::path devices = fs::canonical(sysfs / "devices", error);
  if (error) {
    return std::nullopt;
  }
  Platform_AlsaCard card = Way(devices, device).Card();
  // A card that goes while we read has lost part of its folder: better not there than another address.
  if (!fs::exists(link, error) || error) {
    return std::nullopt;
  }
  return card;
}

// SPDX-License-Identifier: MIT
#include "platform/directmusic/alsa/alsa_card.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "tests/support/test_temp_folder.h"

namespace {

namespace fs = std::filesystem;

// A tree as sysfs makes it, with cards that can be put anywhere.
class AlsaCard : public ::testing::Test {
 protected:
  using Attributes = std::map<std::string, std::string>;

  void SetUp() override {
    fs::create_directories(Root() / "devices");
    fs::create_directories(Root() / "class" / "sound");
  }
  fs::path Root() const { return fs::path(mFolder.Path()) / "sys"; }

  void Device(const std::string& iPath, const Attributes& iAttributes) const {
    const fs::path folder = Root() / "devices" / iPath;
    fs::create_directories(folder);
    for (const auto& [name, value] : iAttributes) {
      std::ofstream(folder / name) << value;
    }
  }
  void Card(int iNumber, const std::string& iDevice) const {
    const std::string name = "card" + std::to_string(iNumber);
    const fs::path folder = Root() / "devices" / iDevice / "sound" / name;
    fs::create_directories(folder);
    fs::create_symlink("../..", folder / "device");
    fs::create_symlink(folder, Root() / "class" / "sound" / name);
  }
  std::optional<Platform_AlsaCard> Read(int iNumber) const {
    return Platform_AlsaCard::Read(Root().string(), iNumber);
  }

  const Test_TempFolder mFolder;
};

constexpr char kXhci[] = "pci0000:00/0000:00:14.0";

TEST_F(AlsaCard, AUsbCardIsControllerChainOfPortsAndInterface) {
  const std::string device = std::string(kXhci) + "/usb1/1-2/1-2.4";
  Device(std::string(kXhci) + "/usb1", {{"speed", "480\n"}});
  Device(device, {{"idVendor", "1235\n"},
                  {"idProduct", "8010\n"},
                  {"serial", "AB12\n"},
                  {"manufacturer", "Maker\n"},
                  {"product", "Box 4\n"}});
  Device(device + "/1-2.4:1.0", {});
  Card(3, device + "/1-2.4:1.0");
  const std::optional<Platform_AlsaCard> card = Read(3);
  ASSERT_TRUE(card.has_value());
  EXPECT_EQ(card->mProduct, "1235:8010");
  EXPECT_EQ(card->mSerial, "AB12");
  EXPECT_EQ(card->mPath, "pci0000:00/0000:00:14.0/usb 2.4:1.0");
  EXPECT_EQ(card->mManufacturer, "Maker");
  EXPECT_EQ(card->mModel, "Box 4");
  EXPECT_FALSE(card->mIsVirtual);
}

TEST_F(AlsaCard, TheNumberOfTheBusAndOfTheCardTakeNoPart) {
  for (const std::string bus : {"1", "7", "12"}) {
    const std::string hub = std::string(kXhci) + "/usb" + bus;
    const std::string device = hub + "/" + bus + "-2";
    Device(hub, {{"speed", "480\n"}});
    Device(device, {{"idVendor", "1235\n"}, {"idProduct", "8010\n"}});
    const int number = std::stoi(bus);
    Card(number, device + "/" + bus + "-2:1.3");
    ASSERT_TRUE(Read(number).has_value());
    EXPECT_EQ(Read(number)->mPath, "pci0000:00/0000:00:14.0/usb 2:1.3");
    EXPECT_EQ(Read(number)->mProduct, "1235:8010");
  }
}

TEST_F(AlsaCard, EqualPortsOfTheTwoHalvesOfAFastControllerAreTwoPlaces) {
  Device(std::string(kXhci) + "/usb1", {{"speed", "480\n"}});
  Device(std::string(kXhci) + "/usb2", {{"speed", "10000\n"}});
  Card(0, std::string(kXhci) + "/usb1/1-2/1-2:1.0");
  Card(1, std::string(kXhci) + "/usb2/2-2/2-2:1.0");
  EXPECT_EQ(Read(0)->mPath, "pci0000:00/0000:00:14.0/usb 2:1.0");
  EXPECT_EQ(Read(1)->mPath, "pci0000:00/0000:00:14.0/superusb 2:1.0");
}

TEST_F(AlsaCard, TwoSocketsOfTwoControllersAreTwoPlaces) {
  Card(0, "platform/dummy_hcd.0/usb1/1-1/1-1:1.0");
  Card(1, "platform/dummy_hcd.1/usb2/2-1/2-1:1.0");
  EXPECT_EQ(Read(0)->mPath, "platform/dummy_hcd.0/usb 1:1.0");
  EXPECT_EQ(Read(1)->mPath, "platform/dummy_hcd.1/usb 1:1.0");
}

TEST_F(AlsaCard, ACardWithoutSerialOrWordsLeavesThemEmpty) {
  Device("platform/dummy_hcd.0/usb1/1-1",
         {{"idVendor", "1d6b\n"}, {"idProduct", "0104\n"}, {"serial", " \n"}});
  Card(0, "platform/dummy_hcd.0/usb1/1-1/1-1:1.0");
  EXPECT_EQ(Read(0)->mProduct, "1d6b:0104");
  EXPECT_EQ(Read(0)->mSerial, "");
  EXPECT_EQ(Read(0)->mManufacturer, "");
  EXPECT_EQ(Read(0)->mModel, "");
}

TEST_F(AlsaCard, APciCardIsItsWholePathWithItsVendorAndDevice) {
  Device("pci0000:00/0000:00:1e.0/0000:05:02.0", {{"vendor", "0x1102\n"}, {"device", "0x0004\n"}});
  Card(0, "pci0000:00/0000:00:1e.0/0000:05:02.0");
  EXPECT_EQ(Read(0)->mPath, "pci0000:00/0000:00:1e.0/0000:05:02.0");
  EXPECT_EQ(Read(0)->mProduct, "1102:0004");
  EXPECT_EQ(Read(0)->mSerial, "");
}

TEST_F(AlsaCard, VirmidiIsVirtual) {
  Card(0, "platform/snd_virmidi.0");
  EXPECT_TRUE(Read(0)->mIsVirtual);
  EXPECT_EQ(Read(0)->mPath, "platform/snd_virmidi.0");
}

TEST_F(AlsaCard, ACardThatIsNotThereIsNothing) {
  EXPECT_FALSE(Read(0).has_value());
  EXPECT_FALSE(Platform_AlsaCard::Read(mFolder / "nowhere", 0).has_value());
}

TEST_F(AlsaCard, ACardWhoseDeviceIsGoneIsNothing) {
  Card(0, "platform/snd_virmidi.0");
  fs::remove(Root() / "devices/platform/snd_virmidi.0/sound/card0/device");
  EXPECT_FALSE(Read(0).has_value());
}

TEST_F(AlsaCard, NamesThatOnlyLookLikeBusesAndPortsAreTakenAsTheyAre) {
  Card(0, "platform/usbcontroller/x-1/sound-7");
  EXPECT_EQ(Read(0)->mPath, "platform/usbcontroller/x-1/sound-7");
  Card(1, "platform/usb1/nothing");
  EXPECT_EQ(Read(1)->mPath, "platform/usb ");
}

TEST_F(AlsaCard, AttributesOfAnyBytesAndLengthDoNoHarm) {
  Device(
      "platform/dummy_hcd.0/usb1/1-1",
      {{"serial", std::string(100'000, 'x')}, {"product", std::string("a\0b\n", 4)}, {"manufacturer", ""}});
  Card(0, "platform/dummy_hcd.0/usb1/1-1/1-1:1.0");
  EXPECT_EQ(Read(0)->mSerial, std::string(4096, 'x'));
  EXPECT_EQ(Read(0)->mModel, std::string("a\0b", 3));
}

}  // namespace

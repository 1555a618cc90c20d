// SPDX-License-Identifier: MIT
#include "tests/integration/alsa/usb_gadget.h"

#include <alsa/asoundlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>

namespace {

namespace fs = std::filesystem;

bool Write(const std::string& iFile, const std::string& iText) {
  std::ofstream stream(iFile);
  stream << iText << std::endl;
  return stream.good();
}

template <class Condition>
bool WaitFor(Condition iCondition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(10);
  while (!iCondition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace

Test_UsbGadget::Test_UsbGadget(int iSocket, std::string iProduct, std::string iSerial, int iPorts)
    : mSocket(iSocket), mProduct(std::move(iProduct)), mSerial(std::move(iSerial)), mPorts(iPorts) {}

Test_UsbGadget::~Test_UsbGadget() { Unplug(); }

std::string Test_UsbGadget::Folder() const {
  return "/sys/kernel/config/usb_gadget/mlox" + std::to_string(mSocket);
}

bool Test_UsbGadget::Plug() {
  const std::string folder = Folder();
  const std::string function = folder + "/functions/midi.usb" + std::to_string(mSocket);
  std::error_code error;
  bool isGood = fs::create_directory(folder, error);
  isGood = isGood && Write(folder + "/idVendor", "0x1d6b") && Write(folder + "/idProduct", "0x0104");
  fs::create_directory(folder + "/strings/0x409", error);
  isGood = isGood && Write(folder + "/strings/0x409/manufacturer", "Maker") &&
           Write(folder + "/strings/0x409/product", mProduct);
  if (!mSerial.empty()) {
    isGood = isGood && Write(folder + "/strings/0x409/serialnumber", mSerial);
  }
  fs::create_directory(folder + "/configs/c.1", error);
  fs::create_directory(function, error);
  isGood = isGood && Write(function + "/in_ports", std::to_string(mPorts)) &&
           Write(function + "/out_ports", std::to_string(mPorts));
  fs::create_symlink(function, folder + "/configs/c.1/midi.usb" + std::to_string(mSocket), error);
  isGood = isGood && Write(folder + "/UDC", "dummy_udc." + std::to_string(mSocket));
  mIsPlugged = true;
  return isGood && WaitFor([this] { return NearClient() >= 0 && FarClient() >= 0; });
}

bool Test_UsbGadget::Unplug() {
  if (!mIsPlugged) {
    return true;
  }
  mIsPlugged = false;
  const std::string folder = Folder();
  std::error_code error;
  Write(folder + "/UDC", "");
  fs::remove(folder + "/configs/c.1/midi.usb" + std::to_string(mSocket), error);
  fs::remove(folder + "/functions/midi.usb" + std::to_string(mSocket), error);
  fs::remove(folder + "/configs/c.1", error);
  fs::remove(folder + "/strings/0x409", error);
  fs::remove(folder, error);
  return WaitFor([this] { return NearClient() < 0 && FarClient() < 0; });
}

int Test_UsbGadget::FarClient() const { return ClientOf("/dummy_udc." + std::to_string(mSocket) + "/"); }
int Test_UsbGadget::NearClient() const { return ClientOf("/dummy_hcd." + std::to_string(mSocket) + "/"); }

int Test_UsbGadget::ClientOf(const std::string& iPartOfPath) const {
  snd_seq_t* handle = nullptr;
  if (snd_seq_open(&handle, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK) < 0) {
    return -1;
  }
  snd_seq_client_info_t* client = nullptr;
  snd_seq_client_info_alloca(&client);
  snd_seq_client_info_set_client(client, -1);
  int found = -1;
  while (found < 0 && snd_seq_query_next_client(handle, client) >= 0) {
    const int card = snd_seq_client_info_get_card(client);
    std::error_code error;
    const std::string path =
        card < 0 ? ""
                 : fs::canonical("/sys/class/sound/card" + std::to_string(card) + "/device", error).string();
    if (path.find(iPartOfPath) != std::string::npos && snd_seq_client_info_get_num_ports(client) >= mPorts) {
      found = snd_seq_client_info_get_client(client);
    }
  }
  snd_seq_close(handle);
  return found;
}

// SPDX-License-Identifier: MIT
// The bytes are a studio database. It is opened and asked everything, then opened again over a root with two
// ports and changed, then opened once more. What comes of it: no original is lost, whatever it holds; each
// line for people is one line; and what has been written is what is read.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fuzz/databasemutator.h"
#include "fuzz/fuzz_input.h"
#include "mlox/mlox_directmusic/idirectmusicstudio.h"
#include "platform/directmusic/directmusic.h"
#include "platform/directmusic/windows_com.h"
#include "platform/studio/studiokeys.h"
#include "platform/studio/studiomanagement.h"
#include "platform/studio/studioreport.h"
#include "platform/studio/studiotext.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr seconds kPatience{15};
// What opening a good file changes of it: the versions and counters in its header.
constexpr std::size_t kHeader = 100;
constexpr std::size_t kUserVersion = 60;
constexpr std::size_t kApplicationID = 68;

// A folder for one database, in memory where there is such a place.
class Folder {
 public:
  Folder() {
    std::error_code error;
    mPath = fs::is_directory("/dev/shm", error) ? "/dev/shm/studio_fuzz.XXXXXX" : "/tmp/studio_fuzz.XXXXXX";
    Fuzz_Require(mkdtemp(mPath.data()) != nullptr, "a folder can be made");
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code error;
    fs::remove_all(mPath, error);
  }
  std::string operator/(const std::string& iName) const { return mPath + "/" + iName; }

 private:
  std::string mPath;
};

std::string ReadFile(const std::string& iPath) {
  std::ifstream file(iPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void CheckLine(const std::string& iLine) {
  const bool hasControl = std::any_of(iLine.begin(), iLine.end(), [](char iCharacter) {
    return static_cast<unsigned char>(iCharacter) < 0x20 || iCharacter == 0x7F;
  });
  Fuzz_Require(!iLine.empty() && !hasControl, "what is told to people is one plain line");
}

// ---- asking a studio everything ----

constexpr std::string_view kKeys[] = {kStudio_DeviceManufacturerName,
                                      kStudio_DeviceModelName,
                                      kStudio_DeviceOffline,
                                      kStudio_DeviceUniqueID,
                                      kStudio_DeviceExternal,
                                      kStudio_DeviceVirtual,
                                      kStudio_DeviceMasterNamesFileLoc,
                                      kStudio_DeviceChannelModes,
                                      kStudio_DeviceScheduleAheadMuSec,
                                      kStudio_EntityName,
                                      kStudio_EntityUniqueID,
                                      kStudio_EntityEmbedded,
                                      kStudio_EntityReceiveChannels,
                                      kStudio_EntityTransmitChannels,
                                      kStudio_EntityUserName,
                                      kStudio_EndpointUniqueID,
                                      kStudio_EndpointIsSource,
                                      kStudio_EndpointCollectionLevel,
                                      kStudio_MloxID,
                                      kStudio_OMSUniqueID};

std::u16string KeyOf(std::string_view iKey) { return {iKey.begin(), iKey.end()}; }

void CheckText(HRESULT iResult, BSTR iText) {
  Fuzz_Require(iResult != S_OK || iText != nullptr, "a text that is there is given");
  SysFreeString(iText);
}

void Ask(IEndpointIDs& iIDs) {
  for (const std::string_view key : kKeys) {
    LONG number = 0;
    iIDs.GetIntProperty(KeyOf(key).c_str(), nullptr, nullptr, &number);
    BSTR text = nullptr;
    CheckText(iIDs.GetStringProperty(KeyOf(key).c_str(), nullptr, nullptr, &text), text);
  }
}

template <class Object>
void AskIDs(Object& iObject) {
  std::shared_ptr<IEndpointIDs> ids;
  Fuzz_Require(iObject.GetIDs(&ids) == S_OK && ids != nullptr, "everything has identifiers");
  Ask(*ids);
}

template <class Object>
void AskProperties(Object& iObject) {
  AskIDs(iObject);
  for (const std::string_view view : kKeys) {
    const std::u16string key = KeyOf(view);
    VARIANT_BOOL flag = VARIANT_FALSE;
    LONG number = 0;
    double real = 0;
    iObject.GetFlagProperty(key.c_str(), nullptr, nullptr, &flag);
    iObject.GetIntProperty(key.c_str(), nullptr, nullptr, &number);
    iObject.GetDoubleProperty(key.c_str(), nullptr, nullptr, &real);
    BSTR text = nullptr;
    CheckText(iObject.GetStringProperty(key.c_str(), nullptr, nullptr, &text), text);
    int count = 0;
    iObject.GetArrayCount(key.c_str(), &count);
    for (int index = -1; index <= count; ++index) {
      BSTR item = nullptr;
      CheckText(iObject.GetArrayItem(key.c_str(), index, &item), item);
    }
  }
}

void AskEndpoint(IEndpointProperties& iEndpoint) {
  AskIDs(iEndpoint);
  int count = 0;
  Fuzz_Require(iEndpoint.GetNumConnections(&count) == S_OK, "wires can be counted");
  for (int index = 0; index < count; ++index) {
    std::shared_ptr<IEndpointIDs> other;
    Fuzz_Require(iEndpoint.GetConnection(index, &other) == S_OK, "each counted wire has another end");
    Ask(*other);
  }
}

void AskEntity(IEntityProperties& iEntity) {
  AskProperties(iEntity);
  for (const VARIANT_BOOL isSource : {VARIANT_FALSE, VARIANT_TRUE}) {
    int count = 0;
    Fuzz_Require(iEntity.GetEndpointCount(isSource, &count) == S_OK, "endpoints can be counted");
    for (int index = 0; index < count; ++index) {
      std::shared_ptr<IEndpointProperties> endpoint;
      Fuzz_Require(iEntity.GetEndpoint(isSource, index, &endpoint) == S_OK, "each counted endpoint is there");
      AskEndpoint(*endpoint);
    }
  }
}

void AskBanks(IDeviceProperties& iDevice) {
  int count = 0;
  Fuzz_Require(iDevice.GetPatchBankCount(&count) == S_OK, "banks can be counted");
  for (int index = 0; index < count; ++index) {
    std::shared_ptr<IStudioPatchBank> bank;
    Fuzz_Require(iDevice.GetPatchBank(index, &bank) == S_OK, "each counted bank is there");
    for (const auto get :
         {&IStudioPatchBank::GetName, &IStudioPatchBank::GetFile, &IStudioPatchBank::GetPatchNameList}) {
      BSTR text = nullptr;
      CheckText(((*bank).*get)(&text), text);
    }
  }
}

void AskStudio(IDirectMusicStudio& iStudio) {
  for (const VARIANT_BOOL group : {VARIANT_TRUE, VARIANT_FALSE}) {
    int count = 0;
    Fuzz_Require(iStudio.GetDeviceCount(group, &count) == S_OK, "devices can be counted");
    for (int index = 0; index < count; ++index) {
      std::shared_ptr<IDeviceProperties> device;
      Fuzz_Require(iStudio.GetDevice(group, index, &device) == S_OK, "each counted device is there");
      AskProperties(*device);
      AskBanks(*device);
      int entities = 0;
      Fuzz_Require(device->GetEntityCount(&entities) == S_OK && entities == 1, "a device is one entity");
      std::shared_ptr<IEntityProperties> entity;
      Fuzz_Require(device->GetEntity(0, &entity) == S_OK, "that entity is there");
      AskEntity(*entity);
    }
  }
}

// ---- the three times that it is opened ----

// Asked alone, a file is left as it is: where it lay, or under the name of what is damaged.
void AskAndLeave(const std::string& iPath, const std::string& iBytes) {
  {
    const Platform_StudioFaces studio = Platform_OpenStudio(nullptr, iPath);
    const bool isRead = studio.mManagement->WaitUntilRead(kPatience);
    Fuzz_Require(isRead || !studio.mManagement->Trouble().empty(), "it is read, or the trouble has a name");
    AskStudio(*studio.mStudio);
  }
  const std::string aside = iPath + ".damaged-1";
  const std::string kept = ReadFile(fs::exists(aside) ? aside : iPath);
  const auto isZero = [&](std::size_t iAt) { return iBytes.compare(iAt, 4, std::string(4, '\0')) == 0; };
  // One without tables gets ours.
  if (iBytes.size() < kHeader || (isZero(kUserVersion) && isZero(kApplicationID))) return;
  Fuzz_Require(kept.size() == iBytes.size() && kept.compare(kHeader, kept.npos, iBytes, kHeader) == 0,
               "the original is not lost");
}

// \returns the device that was added
std::string Change(Platform_StudioManagement& ioManagement) {
  std::string guid;
  Fuzz_Require(ioManagement.Add("new", "Maker", "Model", guid) == Platform_StudioResult::kDone,
               "a device can be added");
  for (const Platform_StudioEntry& entry : ioManagement.Entries()) {
    if (entry.mIsUserDefined) {
      ioManagement.Rename(entry.mGuid, "renamed");
      ioManagement.SetChannels(entry.mGuid, 1, 2);
      ioManagement.SetMode(entry.mGuid, 15, "mode");
      ioManagement.SetBanks(entry.mGuid, {{"bank", "/file", "list"}});
      ioManagement.SetMaster(entry.mGuid, "/master");
    } else {
      ioManagement.Wire(guid, entry.mGuid);
    }
  }
  return guid;
}

IDirectMusic8* Root() {
  static IDirectMusic8* const sRootP = [] {
    void* root = nullptr;
    CoCreateInstance(CLSID_DirectMusic, nullptr, CLSCTX_INPROC_SERVER, IID_IDirectMusic8, &root);
    return static_cast<IDirectMusic8*>(root);
  }();
  return sRootP;
}

// What was added is there again, in the file or in the new one in its place. Rows that make no sense may go
// meanwhile.
void ChangeAndReadAgain(const std::string& iPath) {
  std::string added;
  {
    const Platform_StudioFaces studio = Platform_OpenStudio(Root(), iPath);
    if (!studio.mManagement->WaitUntilRead(kPatience)) return;
    added = Change(*studio.mManagement);
    AskStudio(*studio.mStudio);
    while (!studio.mManagement->Flush(std::chrono::milliseconds(20))) {
      if (!studio.mManagement->Trouble().empty()) return;
    }
  }
  const Platform_StudioFaces studio = Platform_OpenStudio(nullptr, iPath);
  Fuzz_Require(studio.mManagement->WaitUntilRead(kPatience), "what was written can be read");
  const std::vector<Platform_StudioEntry> entries = studio.mManagement->Entries();
  Fuzz_Require(std::any_of(entries.begin(), entries.end(),
                           [&](const Platform_StudioEntry& iEntry) { return iEntry.mGuid == added; }),
               "what was added is there");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*ioCount*/, char*** /*ioArguments*/) {
  setenv("MLOX_MIDI_DRIVERS", "loopback", 1);
  setenv("MLOX_LOOPBACK_PORTS", "first,second", 1);
  Platform_SetStudioReporter(CheckLine);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  const std::string bytes(reinterpret_cast<const char*>(iDataP), iSize);
  const Folder folder;
  const std::string path = folder / "studio.db";
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  AskAndLeave(path, bytes);
  ChangeAndReadAgain(path);
  return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* ioDataP, std::size_t iSize, std::size_t iMaxSize,
                                               unsigned int iSeed) {
  const bool isBytes = iSeed % 4 == 0;
  const std::size_t size = isBytes ? 0 : Fuzz_MutateDatabase(ioDataP, iSize, iMaxSize, iSeed / 4);
  return size != 0 ? size : LLVMFuzzerMutate(ioDataP, iSize, iMaxSize);
}

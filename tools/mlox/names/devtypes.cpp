// SPDX-License-Identifier: MIT
#include "tools/mlox/names/devtypes.h"

#include <fmt/format.h>

#include <memory>
#include <string_view>
#include <vector>

#include "midixml/mlox_devicetypesparser.h"
#include "tools/mlox/names/documentfault.h"
#include "tools/mlox/tool_error.h"
#include "tools/mlox/treewriter.h"

namespace tool {

namespace {

class KeepingParser : public Mlox_DeviceTypesParser {
 public:
  explicit KeepingParser(const std::string& iFile) : Mlox_DeviceTypesParser("", iFile.c_str(), 0) {}

  const std::vector<std::unique_ptr<MIDIDeviceTypesObj>>& GetRoots() const { return mRoots; }

 protected:
  bool HandleDeviceTypes(MIDIDeviceTypesObj* iDeviceTypesP) override {
    mRoots.emplace_back(iDeviceTypesP);
    return true;
  }

 private:
  std::vector<std::unique_ptr<MIDIDeviceTypesObj>> mRoots;
};

// Writes one kind of device. Keys come in sorted order.
class TypeWriter {
 public:
  explicit TypeWriter(TreeWriter& ioWriter) : mWriter(ioWriter) {}

  void Write(const MIDIDeviceTypeObj& iType) {
    mWriter.BeginObject();
    Flag("canRoute", iType.mCanRoute);
    Numbers("deviceIDs", iType.mDeviceIDs, [](const MIDIDeviceID& iId) { return iId.mWords; });
    Text("image", iType.mImage);
    Numbers("inquiryResponses", iType.mInquiryResponses,
            [](const MIDIInquiryResponse& iResponse) { return iResponse.mBytes; });
    Flag("isDrumMachine", iType.mIsDrumMachine);
    Flag("isEffectUnit", iType.mIsEffectUnit);
    Flag("isMixer", iType.mIsMixer);
    Flag("isSampler", iType.mIsSampler);
    Text("manufacturer", iType.mManufacturer);
    Text("model", iType.mModel);
    mWriter.Key("portGroups");
    mWriter.BeginList();
    for (const MIDIPortGroupObj* groupP : iType.mPortGroups) WriteGroup(*groupP);
    mWriter.EndList();
    mWriter.Key("receives");
    mWriter.BeginList();
    for (const MIDIReceives* recordP : iType.mReceives) {
      mWriter.BeginList();
      WriteChannels(*recordP);
      mWriter.Bool(recordP->mLastFlag);
      mWriter.EndList();
    }
    mWriter.EndList();
    Flag("supportsGeneralMIDI", iType.mSupportsGeneralMIDI);
    Flag("supportsMMC", iType.mSupportsMMC);
    mWriter.Key("transmits");
    mWriter.BeginList();
    for (const MIDITransmits* recordP : iType.mTransmits) {
      mWriter.BeginList();
      WriteChannels(*recordP);
      mWriter.EndList();
    }
    mWriter.EndList();
    mWriter.EndObject();
  }

 private:
  void Text(std::string_view iKey, std::string_view iText) {
    mWriter.Key(iKey);
    mWriter.Text(iText);
  }

  void Flag(std::string_view iKey, bool iFlag) {
    mWriter.Key(iKey);
    mWriter.Bool(iFlag);
  }

  template <class Record, class Fields>
  void Numbers(std::string_view iKey, const std::vector<Record*>& iRecords, Fields iFields) {
    mWriter.Key(iKey);
    mWriter.BeginList();
    for (const Record* recordP : iRecords) {
      mWriter.BeginList();
      for (const auto number : iFields(*recordP)) mWriter.Number(static_cast<int64_t>(number));
      mWriter.EndList();
    }
    mWriter.EndList();
  }

  template <class Record>
  void WriteChannels(const Record& iRecord) {
    mWriter.Number(iRecord.mCount);
    for (const bool flag : iRecord.mFlags) mWriter.Bool(flag);
  }

  void WriteGroup(const MIDIPortGroupObj& iGroup) {
    mWriter.BeginObject();
    Text("name", iGroup.mName);
    mWriter.Key("ports");
    mWriter.BeginList();
    for (const MIDIPortPair* pairP : iGroup.mPorts) {
      mWriter.BeginObject();
      Text("inName", pairP->mInName);
      Text("outName", pairP->mOutName);
      mWriter.EndObject();
    }
    mWriter.EndList();
    mWriter.EndObject();
  }

  TreeWriter& mWriter;
};

}  // namespace

void DumpDeviceTypes(const std::string& iFile, bool iJson) {
  KeepingParser parser(iFile);
  int code = 0;
  try {
    parser.Parse();
  } catch (int thrown) {
    code = thrown;
  }
  const MIDIDeviceTypesObj* rootP = parser.GetRoots().empty() ? nullptr : parser.GetRoots().front().get();

  const std::unique_ptr<TreeWriter> writer = MakeTreeWriter(iJson);
  writer->BeginObject();
  writer->Key("author");
  writer->Text(rootP ? std::string_view(rootP->mAuthor) : std::string_view());
  writer->Key("code");
  writer->Number(code);
  writer->Key("deviceTypes");
  writer->BeginList();
  if (rootP) {
    for (const MIDIDeviceTypeObj* typeP : rootP->mDeviceTypes) TypeWriter(*writer).Write(*typeP);
  }
  writer->EndList();
  writer->Key("handed");
  writer->Number(static_cast<int64_t>(parser.GetRoots().size()));
  writer->EndObject();
  fmt::print("{}{}", writer->GetText(), iJson ? "\n" : "");
  if (code != 0) throw ToolError(FaultText(iFile, parser.GetFault()));
}

}  // namespace tool

// SPDX-License-Identifier: MIT
#include "tools/mlox/render/pluginnode.h"

#include "tools/mlox/tool_error.h"

namespace tool {

PlugInNode::PlugInNode(IDirectMIDI3& iDirectMidi, std::uint64_t iID) {
  mOutputP = iDirectMidi.CreateClientOutputEx("mlox render", iID);
  void* setup = nullptr;
  if (mOutputP->QueryInterface(IDirectMIDIOutputDeliverySetup::kUID, &setup) != kQCF_Ok) {
    mOutputP->Release();
    throw ToolError("the plug-in's node has no delivery setup");
  }
  mSetupP = static_cast<IDirectMIDIOutputDeliverySetup*>(setup);
}

PlugInNode::~PlugInNode() {
  mSetupP->Release();
  mOutputP->Release();
}

}  // namespace tool

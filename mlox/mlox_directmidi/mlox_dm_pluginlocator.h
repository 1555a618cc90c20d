// SPDX-License-Identifier: MIT
/// \file
/// The durable address of a plug-in node.
#pragma once

#include <cstdint>

#include "cmn/sys_uuid.h"

/// Finds a plug-in node again after its instance was made anew. Descriptors that are stored with a document
/// keep one. A plain value.
struct Mlox_DM_PlugInLocator {
  Sys_UUID mUUID;
  int32_t mValue = 0;

  bool operator==(const Mlox_DM_PlugInLocator& iOther) const {
    return mUUID == iOther.mUUID && mValue == iOther.mValue;
  }
};

// SPDX-License-Identifier: MIT
/// \file
/// The two filters of Mlox_Manager::GetInputs.
#pragma once

/// Which inputs pass, by Mlox_Input::IsVirtual. The manager hands the value on; services read it.
enum Mlox_EInputVirtualSelection : int {
  kMlox_NonVirtualInputs = 0,           ///< non-virtual inputs only
  kMlox_VirtualInputs = 1,              ///< virtual inputs only
  kMlox_VirtualAndNonVirtualInputs = 2  ///< both
};

/// Which inputs pass, by Mlox_Input::IsSyncSource. No input of this library is a sync source.
enum Mlox_EInputSyncSelection : int {
  kMlox_NonSyncInputs = 0,        ///< inputs that are no sync source
  kMlox_SyncInputs = 1,           ///< sync sources only
  kMlox_SyncAndNonSyncInputs = 2  ///< both
};

// SPDX-License-Identifier: MIT
/// \file
/// What stays allocated for the life of the process, on purpose.
#pragma once

namespace midixml {

/// Notes an object that is never freed, so that it stays reachable. [any]
void KeepForEver(const void* iObjectP);

}  // namespace midixml

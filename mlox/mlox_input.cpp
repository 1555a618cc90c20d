// SPDX-License-Identifier: MIT
#include "mlox/mlox_input.h"

// Made before all other static objects and gone after them: those of the library and of the program may ask
// for names while they are made, and while they go.
[[gnu::init_priority(101)]] const std::set<std::string> Mlox_Input::kNIDawControlInputDeviceNames = {
    "Komplete Kontrol DAW - 1",
    "Komplete Kontrol A DAW",
    "Komplete Kontrol M DAW",
    "MIDIIN2 (KONTROL S49 MK3) [Emulated]",
    "MIDIIN2 (KONTROL S61 MK3) [Emulated]",
    "MIDIIN2 (KONTROL S88 MK3) [Emulated]",
    "MIDIIN2 (KONTROL S49 MK3)",
    "MIDIIN2 (KONTROL S61 MK3)",
    "MIDIIN2 (KONTROL S88 MK3)",
};

Mlox_Input::~Mlox_Input() = default;

bool Mlox_Input::IsUserDefined() const { return true; }

bool Mlox_Input::IsPlugIn() const { return false; }

bool Mlox_Input::IsNIDawControlInputDevice(const std::string& iName) {
  return kNIDawControlInputDeviceNames.contains(iName);
}

// SPDX-License-Identifier: MIT
/// \file
/// How the operating system marks emulated ports.
#pragma once

#include <string>

/// The text that ends the description of a port which runs through the system's older driver layer, its
/// leading blank included; empty while none is known.
///
/// It depends on the system's language, so it is read off the ports: the first WinMM port whose description
/// ends in a group of brackets or parentheses defines it for the rest of the process, whatever that group
/// means. While there is none, and while there is no DirectMusic root, each call looks again. [any but
/// real-time]
std::string GetEmulatedString();

// SPDX-License-Identifier: MIT
/// \file
/// Telling a person what is wrong with a document.
#pragma once

#include <string>

#include "midixml/xmlparserimpl.h"

namespace tool {

/// "file:line: code 206: meaning"; without the line where there is none.
std::string FaultText(const std::string& iFile, const midixml::XMLFault& iFault);

/// What to change in a document that ends in this fault: one sentence.
std::string FaultAdvice(const midixml::XMLFault& iFault);

}  // namespace tool

// SPDX-License-Identifier: MIT
/// \file
/// Element tables, and the elements that are open while a document is read.
#pragma once

#include <string>

namespace midixml {

/// What happens to the character data of an element. Any value but kDropped and kHandled collects it.
enum XMLContentType : int { kDropped = 0, kCollected = 1, kHandled = 6 };

/// One row of an element table. A table ends with the row {-1, "", 0}: a row with an empty name stops every
/// search.
struct XMLElementType {
  /// The number of the element, equal to the index of its row.
  int id;
  /// The tag; letter case counts.
  const char* name;
  /// An XMLContentType.
  int contentType;
};

/// One open element.
struct XMLElement {
  const XMLElementType* type;
  /// The character data collected so far.
  std::string content;
};

}  // namespace midixml

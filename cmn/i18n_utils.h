// SPDX-License-Identifier: MIT
/// \file
/// Questions about characters.
#pragma once

/// Questions about characters, the same under every locale.
class I18N_Utils {
 public:
  /// Whether a character is white space: blank, tab, line feed, vertical tab, form feed or carriage return.
  /// Bytes of 128 and more, which in UTF-8 are parts of characters, never are. [any]
  static constexpr bool IsSpace(char iCharacter) {
    return iCharacter == ' ' || (iCharacter >= '\t' && iCharacter <= '\r');
  }
};

// SPDX-License-Identifier: MIT
#include "tools/mlox/names/documentfault.h"

#include <fmt/format.h>

#include <string_view>

namespace tool {

std::string FaultText(const std::string& iFile, const midixml::XMLFault& iFault) {
  const std::string line = iFault.line == 0 ? std::string() : fmt::format("{}:", iFault.line);
  return fmt::format("{}:{} code {}: {}", iFile, line, iFault.code, iFault.message);
}

std::string FaultAdvice(const midixml::XMLFault& iFault) {
  switch (iFault.code) {
    case 5:
      return "check the path, and that you may read the file";
    case 6:
      return "check that this is a file and not a folder, and that its disk can be read";
    case 7:
      return "make the document well-formed XML: look for an unclosed or misspelt tag, a bare & or <, or a "
             "wrong "
             "encoding at or before this line";
    case 8:
      return "add the attribute to this element";
    case 100:
      return "put this element inside the one that it belongs to; a document begins with MIDINameDocument or "
             "MIDIDeviceTypes";
    case 102:
      return "move or remove the inner element";
    case 103:
    case 104:
      return "write a plain number";
    case 105:
      return "write true or false, in small letters";
    case 106:
      return "write each byte as two hexadecimal digits, separated by blanks";
    case 201:
      return "leave one patch name list in the bank";
    case 204:
      return "leave one note name list in the patch";
    case 205:
      return "leave one control name list in the patch";
    case 206:
      if (iFault.message.starts_with("patch name list")) {
        return "give every patch name list a name; behind one without a name no note name list may have one";
      }
      return "write a name between the quotation marks";
    case 207:
      return "name the values in a list of the device and refer to it by UsesValueNameList";
    case 208:
      return "write 7bit, 14bit, RPN or NRPN";
    default:
      return "nothing in the document: try again";
  }
}

}  // namespace tool

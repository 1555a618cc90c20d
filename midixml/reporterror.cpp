// SPDX-License-Identifier: MIT
#include "midixml/reporterror.h"

#include <string>

namespace midixml {

namespace {

// A document may hold a name of a hundred megabytes; a message is for people.
constexpr size_t kLongestArgument = 200;

std::string FillIn(std::string_view iFormat, std::initializer_list<std::string_view> iArguments) {
  std::string message;
  auto argument = iArguments.begin();
  for (size_t at = 0; at < iFormat.size(); ++at) {
    const bool placeholder = iFormat[at] == '%' && at + 1 < iFormat.size() && argument != iArguments.end();
    if (!placeholder) {
      message += iFormat[at];
      continue;
    }
    message += argument->substr(0, kLongestArgument);
    if (argument->size() > kLongestArgument) message += "...";
    ++argument;
    ++at;
  }
  return message;
}

}  // namespace

void ThrowFault(XMLParserImpl* iImplP, int iCode, const char* iFormatP,
                std::initializer_list<std::string_view> iArguments) {
  if (iImplP) iImplP->SetFault({iCode, iImplP->GetCurrentLine(), FillIn(iFormatP, iArguments)});
  throw iCode;
}

}  // namespace midixml

// SPDX-License-Identifier: MIT
#include "midixml/xmlattributelist.h"

#include <cstring>

#include "midixml/reporterror.h"

namespace midixml {

const char* XMLAttributeList::Find(const char* iNameP, bool iRequired) {
  for (int index = 0; index < mCount; ++index) {
    if (std::strcmp(GetName(index), iNameP) != 0) continue;
    mUsed[index] = 1;
    return mAttributes[2 * index + 1];
  }
  if (iRequired) ReportError(mImpl, 8, "<%s> missing required attribute '%s'", mElementName, iNameP);
  return nullptr;
}

}  // namespace midixml

// SPDX-License-Identifier: MIT
/// \file
/// The attributes of one start tag.
#pragma once

#include "cmn/cmn_export.h"
#include "midixml/xmlparserimpl.h"

namespace midixml {

/// The attributes of one start tag. Built for that tag, and alive only while it is handled.
class MLOX_EXPORT XMLAttributeList {
 public:
  /// iAttributesP  pairs of name and value, iCount of them, as the tokeniser gives them.
  /// iUsedP        one flag for each pair, all 0; null if iCount is 0.
  XMLAttributeList(XMLParserImpl* iImplP, const char* iElementNameP, const char* const* iAttributesP,
                   int iCount, unsigned char* iUsedP)
      : mImpl(iImplP),
        mElementName(iElementNameP),
        mAttributes(iAttributesP),
        mCount(iCount),
        mUsed(iUsedP) {}
  XMLAttributeList(const XMLAttributeList&) = delete;
  XMLAttributeList& operator=(const XMLAttributeList&) = delete;

  XMLParserImpl* GetImpl() const { return mImpl; }
  const char* GetElementName() const { return mElementName; }
  int GetCount() const { return mCount; }
  const char* GetName(int iIndex) const { return mAttributes[2 * iIndex]; }
  bool IsUsed(int iIndex) const { return mUsed[iIndex] != 0; }

  /// The value of the first attribute with exactly this name, which counts as used from now on. Null if there
  /// is none; throws 8 if it was required.
  const char* Find(const char* iNameP, bool iRequired);

 private:
  XMLParserImpl* mImpl;
  const char* mElementName;
  const char* const* mAttributes;
  int mCount;
  unsigned char* mUsed;
};

}  // namespace midixml

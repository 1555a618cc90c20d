// SPDX-License-Identifier: MIT
#include "midixml/expatparser.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "midixml/documentfile.h"
#include "midixml/midixmlparser.h"
#include "midixml/reporterror.h"

namespace midixml {

namespace {

// The piece in which a document goes through Expat. What a system exclusive message is made of depends on it,
// since each piece of text is handled by itself.
constexpr int kPieceSize = 16384;

// Expat begins a token that a piece leaves unfinished from its first byte again with the next one, so that
// the cost of a tag or a comment of a hundred megabytes would be the square of its length. Once this much has
// come by without a word, it goes on in pieces that grow with what is waiting; the text that stands in one
// piece with the token's end is then not cut at 16384 bytes. No document for people has a tag or a comment of
// a megabyte; below that the cost of beginning again doesn't count.
constexpr uint64_t kLongSilence = 1024 * 1024;
constexpr uint64_t kLargestPiece = 256 * 1024 * 1024;

// A document may not become much larger in memory than it is on disk: entities and default attributes can
// blow a few bytes up to gigabytes. No honest document comes near either bound; one that crosses both is
// refused with code 7.
constexpr uint64_t kFreeExpansion = 32 * 1024 * 1024;
constexpr uint64_t kExpansionFactor = 32;
// What an element costs besides its text.
constexpr uint64_t kElementCost = 32;

// Flags for the attributes of a tag: nearly always few.
constexpr int kUsualAttributes = 16;

constexpr const char* kParsingError = "parsing error";

}  // namespace

// ---- lifetime ----

ExpatParser::ExpatParser(MIDIXMLParser* iParserP, const std::string& iFileName, int iDebugLevel)
    : XMLParserImpl(iParserP, iFileName, iDebugLevel) {
  MakeExpat();
}

ExpatParser::~ExpatParser() {
  if (mExpat) XML_ParserFree(mExpat);
}

void ExpatParser::MakeExpat() {
  mExpat = XML_ParserCreate(nullptr);
  if (!mExpat) ReportError(this, 3, "couldn't create parser");
  XML_SetUserData(mExpat, this);
  XML_SetElementHandler(mExpat, OnStart, OnEnd);
  XML_SetCharacterDataHandler(mExpat, OnCharData);
}

void ExpatParser::Reset(const std::string& iFileName) {
  if (mExpat) XML_ParserFree(std::exchange(mExpat, nullptr));
  mPending = nullptr;
  mFault = {};
  mReadBytes = 0;
  mMadeBytes = 0;
  mSilentBytes = 0;
  MakeExpat();
  if (!iFileName.empty()) mFileName = iFileName;
}

unsigned long ExpatParser::GetCurrentLine() {
  // Expat goes on to the end of its piece after a fault.
  if (mFault.code != 0) return mFault.line;
  return mExpat ? XML_GetCurrentLineNumber(mExpat) : 0;
}

// ---- the file ----

void ExpatParser::Parse(const char*) {}

void ExpatParser::Parse() {
  mFault = {};
  const DocumentFile file = OpenDocumentFile(mFileName);
  if (!file) {
    mFault = {5, 0, "couldn't open '" + mFileName + "'"};
    ReportError(nullptr, 5, "couldn't open '%s'", mFileName);
  }
  ParseFile(file.get());
}

void ExpatParser::ParseFile(std::FILE* iFileP) {
  size_t count = 0;
  do {
    const int size = NextPieceSize();
    void* bufferP = mExpat ? XML_GetBuffer(mExpat, size) : nullptr;
    if (!bufferP) ReportError(this, 4, "couldn't allocate parse buffer");
    count = std::fread(bufferP, 1, static_cast<size_t>(size), iFileP);
    if (count == 0 && std::ferror(iFileP)) ReportError(this, 6, "file read error");
    mReadBytes += count;
    mSilentBytes += count;
    const XML_Status status = XML_ParseBuffer(mExpat, static_cast<int>(count), count == 0);
    ThrowPending();
    if (status == XML_STATUS_ERROR) ReportError(this, 7, kParsingError);
  } while (count != 0);
}

int ExpatParser::NextPieceSize() const {
  if (mSilentBytes < kLongSilence) return kPieceSize;
  return static_cast<int>(std::min(mSilentBytes / 2, kLargestPiece));
}

// ---- what Expat calls ----

// Runs a handler. Expat is C and knows nothing of exceptions: what a handler throws waits here until Expat
// has returned, and the handlers hear nothing more of the document.
template <class Call>
void ExpatParser::Guard(Call iCall) {
  if (mPending) return;
  mSilentBytes = 0;
  try {
    iCall();
  } catch (...) {
    mPending = std::current_exception();
    Stop();
  }
}

void ExpatParser::Stop() {
  XML_SetElementHandler(mExpat, nullptr, nullptr);
  XML_SetCharacterDataHandler(mExpat, nullptr);
}

void ExpatParser::ThrowPending() {
  if (mPending) std::rethrow_exception(std::exchange(mPending, nullptr));
}

void ExpatParser::CheckExpansion() {
  if (mMadeBytes <= kFreeExpansion) return;
  if (mMadeBytes / kExpansionFactor > mReadBytes) ReportError(this, 7, kParsingError);
}

void ExpatParser::OnStart(void* iSelfP, const char* iNameP, const char** iAttributesP) {
  auto* selfP = static_cast<ExpatParser*>(iSelfP);
  selfP->Guard([=] { selfP->HandleStart(iNameP, iAttributesP); });
}

void ExpatParser::HandleStart(const char* iNameP, const char** iAttributesP) {
  int count = 0;
  uint64_t made = kElementCost;
  for (; iAttributesP[2 * count]; ++count) made += std::strlen(iAttributesP[2 * count + 1]);
  mMadeBytes += made;
  CheckExpansion();

  std::array<unsigned char, kUsualAttributes> usualFlags;
  std::vector<unsigned char> manyFlags;
  unsigned char* usedP = nullptr;
  if (count > kUsualAttributes) {
    manyFlags.resize(static_cast<size_t>(count));
    usedP = manyFlags.data();
  } else if (count > 0) {
    usedP = usualFlags.data();
    std::memset(usedP, 0, static_cast<size_t>(count));
  }
  XMLAttributeList attributes(this, iNameP, iAttributesP, count, usedP);
  mParser->StartElement(iNameP, attributes);
}

void ExpatParser::OnEnd(void* iSelfP, const char* iNameP) {
  auto* selfP = static_cast<ExpatParser*>(iSelfP);
  selfP->Guard([=] { selfP->mParser->EndElement(iNameP); });
}

void ExpatParser::OnCharData(void* iSelfP, const char* iDataP, int iLength) {
  auto* selfP = static_cast<ExpatParser*>(iSelfP);
  selfP->Guard([=] {
    selfP->mMadeBytes += static_cast<uint64_t>(iLength);
    selfP->CheckExpansion();
    selfP->mParser->CharDataHandler(iDataP, iLength);
  });
}

}  // namespace midixml

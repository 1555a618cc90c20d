// SPDX-License-Identifier: MIT
/// \file
/// The tokeniser of the reader, on Expat.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "midixml/xmlparserimpl.h"

// Expat's own name for what its XML_Parser points to: those who include this need no Expat.
struct XML_ParserStruct;

namespace midixml {

/// Reads a file in pieces through Expat and calls a MIDIXMLParser. Parses one document; Reset comes before
/// the next.
class ExpatParser final : public XMLParserImpl {
 public:
  /// Throws 3 if Expat can't be had.
  ExpatParser(MIDIXMLParser* iParserP, const std::string& iFileName, int iDebugLevel);
  ~ExpatParser() override;

  /// Does nothing: there is no parsing from memory.
  void Parse(const char* iTextP) override;
  void Parse() override;
  void Reset(const std::string& iFileName) override;
  unsigned long GetCurrentLine() override;

 private:
  static void OnStart(void* iSelfP, const char* iNameP, const char** iAttributesP);
  static void OnEnd(void* iSelfP, const char* iNameP);
  static void OnCharData(void* iSelfP, const char* iDataP, int iLength);

  void MakeExpat();
  void ParseFile(std::FILE* iFileP);
  int NextPieceSize() const;
  void HandleStart(const char* iNameP, const char** iAttributesP);
  void CheckExpansion();
  template <class Call>
  void Guard(Call iCall);
  void Stop();
  void ThrowPending();

  // The tokeniser, owned.
  XML_ParserStruct* mExpat = nullptr;
  // What a handler threw, until Expat has returned.
  std::exception_ptr mPending;
  // How many bytes were read, and how much they made in names, values and text.
  uint64_t mReadBytes = 0;
  uint64_t mMadeBytes = 0;
  // How many were read since Expat last called.
  uint64_t mSilentBytes = 0;
};

}  // namespace midixml

// SPDX-License-Identifier: MIT
/// \file
/// What the reader asks of a tokeniser.
#pragma once

#include <string>

#include "cmn/cmn_export.h"

namespace midixml {

class MIDIXMLParser;

/// What is known of the fault that ended a parse.
struct XMLFault {
  /// The code that was thrown; 0 if there was none.
  int code = 0;
  /// The line of the document, from 1; 0 where there is none, as for a file that can't be opened.
  unsigned long line = 0;
  /// The meaning of the code with its names filled in.
  std::string message;
};

/// Reads a document and calls the MIDIXMLParser that it belongs to. One thread at a time.
class MLOX_EXPORT XMLParserImpl {
 public:
  XMLParserImpl(MIDIXMLParser* iParserP, const std::string& iFileName, int iDebugLevel)
      : mParser(iParserP), mFileName(iFileName), mDebugLevel(iDebugLevel) {}
  XMLParserImpl(const XMLParserImpl&) = delete;
  XMLParserImpl& operator=(const XMLParserImpl&) = delete;
  virtual ~XMLParserImpl();

  /// Parses text in memory, if the implementation can.
  virtual void Parse(const char* iTextP) = 0;
  /// Parses the file. Throws the code of a fault as an int.
  virtual void Parse() = 0;
  /// Makes ready for another document; an empty name keeps the file's.
  virtual void Reset(const std::string& iFileName) = 0;
  /// The line being read, from 1; after a fault, the line of that fault.
  virtual unsigned long GetCurrentLine() = 0;

  int GetDebugLevel() const { return mDebugLevel; }
  const std::string& GetFileName() const { return mFileName; }
  /// The fault that ended the last parse, for those who must explain it to a person.
  const XMLFault& GetFault() const { return mFault; }
  void SetFault(XMLFault iFault) { mFault = std::move(iFault); }

 protected:
  MIDIXMLParser* mParser;
  std::string mFileName;
  int mDebugLevel;
  XMLFault mFault;
};

}  // namespace midixml

// SPDX-License-Identifier: MIT
/// \file
/// Opening a document by its path.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace midixml {

/// Closes a file with its handle.
struct DocumentFileCloser {
  void operator()(std::FILE* iFileP) const { std::fclose(iFileP); }
};
using DocumentFile = std::unique_ptr<std::FILE, DocumentFileCloser>;

/// Opens a file for binary reading; null if it can't be opened. The path is UTF-8. A backslash in it is a
/// separator on every platform, since scanned names are made with it; a file that has one in its own name
/// opens as well, if no other is meant.
DocumentFile OpenDocumentFile(const std::string& iPath);

}  // namespace midixml

// SPDX-License-Identifier: MIT
#include "midixml/documentfile.h"

#include <algorithm>

#if defined(_WIN32)
#include "cmn/i18n_stutf16buffer.h"
#endif

namespace midixml {

namespace {

DocumentFile Open(const std::string& iPath) {
#if defined(_WIN32)
  const I18N_StUTF16Buffer path(iPath.c_str());
  return DocumentFile(_wfopen(path, L"rb"));
#else
  return DocumentFile(std::fopen(iPath.c_str(), "rb"));
#endif
}

}  // namespace

DocumentFile OpenDocumentFile(const std::string& iPath) {
  std::string path = iPath;
  std::replace(path.begin(), path.end(), '\\', '/');
  DocumentFile file = Open(path);
  if (!file && path != iPath) file = Open(iPath);
  return file;
}

}  // namespace midixml

// SPDX-License-Identifier: MIT
/// \file
/// The file of the studio database: where it lies, who has it open, and how a damaged one is set aside.
#pragma once

#include <string>

#include "cmn/cmn_export.h"

/// Where the database lies: `MLOX_STUDIO_DB`, else `mlox/studio.db` in `$XDG_STATE_HOME` (by default
/// `~/.local/state`). Empty when none of them is known.
MLOX_EXPORT std::string Platform_StudioDefaultPath();

/// The path as a URI that SQLite opens, with what is asked of the opening behind it.
std::string Platform_StudioUri(const std::string& iPath, const std::string& iQuery);

/// One user's hold on the file. Whoever has it open shares it; setting it aside takes all of it. The hold is
/// on a file beside it, "<path>.lock", since what is damaged can't be locked by the database's own means, and
/// since the file itself changes its name. One thread at a time.
class Platform_StudioFile {
 public:
  /// Links in the path are followed, so that companions lie beside the real file.
  explicit Platform_StudioFile(const std::string& iPath);
  Platform_StudioFile(const Platform_StudioFile&) = delete;
  Platform_StudioFile& operator=(const Platform_StudioFile&) = delete;
  ~Platform_StudioFile();

  [[nodiscard]] const std::string& Path() const { return mPath; }
  /// Makes the folders that lead to the file, closed to other users. Does nothing where it can't.
  void MakeFolders() const;
  /// Shares the file. False when somebody is setting it aside just now; a file that can't be locked at all,
  /// such as one in a folder that can't be written, is shared too.
  bool Share();
  /// Ends the hold.
  void Release();
  /// Gives the file and its companions another name, under a hold that nobody else has a part of.
  /// \param oNewPath the new name
  /// \param oReason why it can't be done
  bool SetAside(std::string& oNewPath, std::string& oReason);
  /// Whether the path still leads to what it led to at the last MarkSeen; true before.
  [[nodiscard]] bool IsSame() const;
  void MarkSeen();

 private:
  bool Lock(int iHow);

  std::string mPath;
  int mLock = -1;
  unsigned long long mDevice = 0;
  unsigned long long mInode = 0;
};

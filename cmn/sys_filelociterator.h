// SPDX-License-Identifier: MIT
/// \file
/// Walks what lies in a folder.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cmn/cmn_export.h"
#include "cmn/sys_fileloc.h"
#include "cmn/sys_filetype.h"

/// What a walk stops at. It enters folders whatever it stops at.
enum EIterType : int {
  cIterFilesAndFolders = 0,  ///< Both.
  cIterFilesOnly = 1,        ///< What isn't a folder.
  cIterFoldersOnly = 2       ///< Folders.
};

/// Walks the files and folders in a folder, in byte order of their names: the same on every machine, whatever
/// order the disk has. A folder comes before what lies in it.
///
/// Only regular files, folders and links to either are met. A folder that can't be read is met, and nothing
/// in it. A link (or mount) that leads back to a folder on its own path is left out, also when the walk is
/// continued by iterators of its own for each folder met, so that every such walk ends. A folder's items are
/// read when the walk enters it.
///
/// A location that is none, or no folder, gives an empty walk. One thread at a time; never on a real-time
/// thread.
class MLOX_EXPORT Sys_FileLocIterator {
 public:
  /// Stands at the first item. `iTypes` are the types to stop at, all if it is empty. `iDepth` is how many
  /// levels are walked: 1 for the folder's own items, 2 for those of its sub-folders too; 0 walks nothing.
  Sys_FileLocIterator(const Sys_FileLoc& iFolder, const std::vector<Sys_FileType>& iTypes,
                      EIterType iIterType, unsigned iDepth);

  /// Whether it stands at an item.
  explicit operator bool() const { return !mLevels.empty(); }
  /// The item that it stands at. There must be one.
  const Sys_FileLoc& operator*() const { return Current().mLocation; }
  /// The item that it stands at. There must be one.
  const Sys_FileLoc* operator->() const { return &Current().mLocation; }
  /// Goes to the next item. At the end nothing happens.
  Sys_FileLocIterator& operator++();

 private:
  struct Item {
    Sys_FileLoc mLocation;
    std::string mPath;
    Sys_FileType mType;
  };
  struct Level {
    std::vector<Item> mItems;
    std::size_t mIndex;
  };

  [[nodiscard]] const Item& Current() const { return mLevels.back().mItems[mLevels.back().mIndex]; }
  static std::vector<Item> ReadFolder(const std::string& iPath);
  void Enter(const std::string& iPath);
  void Step();
  void DropFinishedLevels();
  [[nodiscard]] bool IsWanted(const Sys_FileType& iType) const;
  void GoToWanted();

  std::vector<Sys_FileType> mTypes;
  EIterType mIterType;
  unsigned mDepth;
  std::vector<Level> mLevels;
};

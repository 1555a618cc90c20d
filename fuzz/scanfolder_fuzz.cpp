// SPDX-License-Identifier: MIT
// A tree of folders, files and links is made of the input and scanned for both kinds of documents. Every scan
// ends, and its count agrees with the names that it gives.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "cmn/sys_filelocposix.h"
#include "fuzz/fuzz_input.h"
#include "midixml/scanfolder.h"
#include "midixml/scanpatchfilenamesdir.h"

namespace {

namespace fs = std::filesystem;

constexpr int kMostItems = 24;

class Tree {
 public:
  explicit Tree(Fuzz_Input& ioInput) {
    // In memory where there is such a place: a disk would take most of the time.
    std::error_code error;
    mRoot = fs::is_directory("/dev/shm", error) ? "/dev/shm/scanfolder_fuzz.XXXXXX"
                                                : "/tmp/scanfolder_fuzz.XXXXXX";
    Fuzz_Require(mkdtemp(mRoot.data()) != nullptr, "a folder can be made");
    mFolders.push_back(mRoot);
    for (int item = 0; item < kMostItems && !ioInput.IsEmpty(); ++item) Add(ioInput);
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree() {
    std::error_code error;
    fs::remove_all(mRoot, error);
  }
  const std::string& Root() const { return mRoot; }

 private:
  const std::string& AnyFolder(Fuzz_Input& ioInput) { return mFolders[ioInput.Byte() % mFolders.size()]; }

  static std::string Name(Fuzz_Input& ioInput) {
    static const char* const kEndings[] = {".midnam", ".MIDNAM", ".middev",   ".midnam.bak",
                                           "",        ".",       "Quilsonics"};
    std::string name;
    for (const std::uint8_t byte : ioInput.Bytes(ioInput.Byte() % 6)) {
      if (byte != 0 && byte != '/') name += static_cast<char>(byte);
    }
    return name + kEndings[ioInput.Byte() % 7];
  }

  void Add(Fuzz_Input& ioInput) {
    const std::uint8_t kind = ioInput.Byte() % 4;
    const std::string path = AnyFolder(ioInput) + "/" + Name(ioInput);
    std::error_code error;
    if (kind == 0) {
      if (fs::create_directory(path, error)) mFolders.push_back(path);
    } else if (kind == 1) {
      fs::create_symlink(AnyFolder(ioInput), path, error);
    } else {
      std::ofstream file(path);
    }
  }

  std::string mRoot;
  std::vector<std::string> mFolders;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iDataP, std::size_t iSize) {
  Fuzz_Input input(iDataP, iSize);
  const Tree tree(input);
  const Sys_FileLoc root(Sys_FileLocPosix::FromSystemPath(tree.Root(), Sys_FileType::cFolder));
  for (const bool wantPatchFiles : {true, false}) {
    std::vector<std::string> names = {"before"};
    const int count = midixml::ScanFolder(&names, root, wantPatchFiles);
    Fuzz_Require(count >= 0 && names.size() == static_cast<std::size_t>(count) + 1, "each name is counted");
    Fuzz_Require(names.front() == "before", "what was there stays as it was");
  }
  setenv("MLOX_PATCH_NAMES_DIR", tree.Root().c_str(), 1);
  std::vector<std::string> names;
  const int count = ScanPatchFileNamesDir(&names, "a");
  Fuzz_Require(names.size() == static_cast<std::size_t>(count), "the three steps are counted");
  return 0;
}

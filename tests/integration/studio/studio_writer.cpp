// SPDX-License-Identifier: MIT
// Writes to the studio database of argv[1] until it is killed. Before each change a line "begin NAME" goes to
// standard output, and "done NAME" once the file holds it. With "hold" as argv[2] it makes one change and
// then keeps the file open until its standard input ends.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/studio/studiomanagement.h"

namespace {

constexpr std::chrono::seconds kPatience{60};

void Say(const std::string& iLine) {
  std::puts(iLine.c_str());
  std::fflush(stdout);
}

bool Change(Platform_StudioManagement& iManagement, const std::string& iName) {
  std::string guid;
  Say("begin " + iName);
  if (iManagement.Add(iName, "Maker", "Model", guid) != Platform_StudioResult::kDone) return false;
  if (!iManagement.Flush(kPatience)) return false;
  Say("done " + iName);
  return true;
}

}  // namespace

int main(int iCount, char** iArguments) {
  if (iCount < 2) return 2;
  const Platform_StudioFaces faces = Platform_OpenStudio(nullptr, iArguments[1]);
  if (!faces.mManagement->WaitUntilRead(kPatience)) return 1;
  const std::string prefix = std::to_string(::getpid()) + "-";
  if (iCount > 2) {
    if (!Change(*faces.mManagement, prefix + "held")) return 1;
    while (std::getchar() != EOF) {
    }
    return 0;
  }
  for (int number = 0;; ++number) {
    if (!Change(*faces.mManagement, prefix + std::to_string(number))) return 1;
  }
}

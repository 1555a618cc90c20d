// SPDX-License-Identifier: MIT
// Ends while threads are inside the library: without RemoveAllServices, and without stopping anybody.
#include <cstdlib>

#include "tests/integration/shared_library/player.h"

int main() {
  SharedLibrary_StartThreads();
  // Through all exit handlers and destructors of statics, while the threads go on.
  std::exit(SharedLibrary_CountRounds() >= 400 ? 0 : 1);
}

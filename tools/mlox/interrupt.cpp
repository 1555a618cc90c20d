// SPDX-License-Identifier: MIT
#include "tools/mlox/interrupt.h"

#include <atomic>

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

// A signal comes on any thread, and others look.
std::atomic<bool> sIsInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal's handler may touch it");

void Note(int) { sIsInterrupted = true; }

}  // namespace

Interrupt::Interrupt() {
  sIsInterrupted = false;
  struct sigaction note {};
  note.sa_handler = &Note;
  note.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &note, &mFormerInt);
  sigaction(SIGTERM, &note, &mFormerTerm);
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, &mFormerFileSize);
}

Interrupt::~Interrupt() {
  sigaction(SIGINT, &mFormerInt, nullptr);
  sigaction(SIGTERM, &mFormerTerm, nullptr);
  sigaction(SIGXFSZ, &mFormerFileSize, nullptr);
}

bool Interrupt::HasHappened() { return sIsInterrupted; }

void Interrupt::Check() {
  if (HasHappened()) {
    throw ToolError("interrupted");
  }
}

}  // namespace tool

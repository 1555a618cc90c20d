// SPDX-License-Identifier: MIT
#include "tools/mlox/interrupt.h"

#include "tools/mlox/tool_error.h"

namespace tool {

namespace {

volatile std::sig_atomic_t sIsInterrupted = 0;

void Note(int) { sIsInterrupted = 1; }

}  // namespace

Interrupt::Interrupt() {
  sIsInterrupted = 0;
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

bool Interrupt::HasHappened() { return sIsInterrupted != 0; }

void Interrupt::Check() {
  if (HasHappened()) {
    throw ToolError("interrupted");
  }
}

}  // namespace tool

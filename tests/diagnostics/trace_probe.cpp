// SPDX-License-Identifier: MIT
/// \file
/// What a process sees of the tracing binder, as lines on standard output. The tests run it with different
/// tracing libraries on the loader's path, since binding happens once, when the program starts.
#include <dlfcn.h>

#include <cstdio>

#include "cmn/cmn_assert.h"
#include "diagnostics/cmn_traceassert.h"
#include "diagnostics/quiltracelibrary.h"

namespace {

constexpr char kAssertSource[] = "tests/diagnostics/trace_probe";
constexpr std::uint32_t kCategory = 0x0200000E;

void PrintReport(void*, const Cmn_AssertReport& iReport) {
  std::printf("REPORT %s line %d flag %d throwing %d\n", iReport.mStringP, iReport.mLine,
              iReport.mFlag ? 1 : 0, iReport.mThrowing ? 1 : 0);
}

void PrintBinding() {
  std::printf("active %d\n", QuilTraceLibrary::sTraceIsActive.load());
  std::printf("binder %s\n", QuilTraceLibrary::Get() != nullptr ? "there" : "missing");
  for (const QuilTraceLibrary::EntryPoint& entry : QuilTraceLibrary::GetEntryPoints())
    std::printf("%s %d %s\n", entry.mNameP, entry.mResult, entry.mProcP != nullptr ? "set" : "null");
  std::printf("format %s\n", QuilTraceLibrary::sFormat != nullptr ? "set" : "null");
  std::printf("facility %s\n", QuilTraceLibrary::sFacilityOn != nullptr ? "set" : "null");
}

int Counted(int* ioCallsP) { return ++*ioCallsP; }

void RunTraceSites() {
  int calls = 0;
  QUIL_TRACE(kCategory, "plain");
  QUIL_TRACE(kCategory, "value %d of %s", Counted(&calls), "channel");
  std::printf("arguments evaluated %d\n", calls);
}

void FailTraceAssert() {
  const int index = -1;
  try {
// A line number that no edit of this file changes.
#line 4711
    const bool held = CMN_TRACEASSERT(kAssertSource, index >= 0, "index >= 0 && 100%s");
    std::printf("held %d\n", held ? 1 : 0);
  } catch (const Cmn_AssertException&) {
    std::printf("thrown\n");
  }
}

// Runs after the destructors of all static objects, the binder's included.
__attribute__((destructor)) void PrintEnd() {
  void* moduleP = dlopen("libQuilTrace.so", RTLD_NOW | RTLD_NOLOAD);
  std::printf("at exit active %d binder %s module %s format %s\n", QuilTraceLibrary::sTraceIsActive.load(),
              QuilTraceLibrary::Get() != nullptr ? "there" : "gone",
              moduleP != nullptr ? "loaded" : "not loaded",
              QuilTraceLibrary::sFormat != nullptr ? "set" : "null");
}

}  // namespace

int main() {
  Cmn_Assert::SetHandler(PrintReport, nullptr);
  PrintBinding();
  RunTraceSites();
  FailTraceAssert();
  return 0;
}

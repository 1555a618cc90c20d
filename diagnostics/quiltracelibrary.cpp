// SPDX-License-Identifier: MIT
#include "diagnostics/quiltracelibrary.h"

#include "diagnostics/quiltracenames.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

using EntryPoints = std::array<QuilTraceLibrary::EntryPoint, QuilTraceLibrary::kEntryPointCount>;

consteval EntryPoints Unbound() {
  EntryPoints entryPoints{};
  for (std::size_t i = 0; i < entryPoints.size(); ++i) {
    entryPoints[i] = {kQuilTrace_EntryPoints[i], nullptr, 0};
  }
  return entryPoints;
}

constinit EntryPoints sEntryPoints = Unbound();

// Places in the table of the three names that are called.
constexpr std::size_t kIsActive = 0;
constexpr std::size_t kFormat = 2;
constexpr std::size_t kFacilityOn = 10;

constinit const QuilTraceLibrary* sLibraryP = nullptr;

#if defined(_WIN32)
constexpr char kFileName[] = "QuilTrace.dll";

// The product's own folder first, by full path, so that a library of the same name elsewhere doesn't come
// before it.
void* LoadModule(const std::string& iFileName) {
  wchar_t systemFolder[MAX_PATH + 1] = {};
  if (GetSystemDirectoryW(systemFolder, MAX_PATH) > 2) {
    const std::wstring path = std::wstring(systemFolder, 2) + L"\\Program Files\\Common Files\\mlox\\" +
                              std::wstring(iFileName.begin(), iFileName.end());
    if (HMODULE moduleP = LoadLibraryW(path.c_str())) return moduleP;
  }
  return LoadLibraryA(iFileName.c_str());
}

QuilTraceLibrary::BoundOnlyProc LookUp(void* iModuleP, const char* iNameP) {
  return reinterpret_cast<QuilTraceLibrary::BoundOnlyProc>(
      GetProcAddress(static_cast<HMODULE>(iModuleP), iNameP));
}
#else
constexpr char kFileName[] = "libQuilTrace.so";

void* LoadModule(const std::string& iFileName) { return dlopen(iFileName.c_str(), RTLD_NOW | RTLD_LOCAL); }

QuilTraceLibrary::BoundOnlyProc LookUp(void* iModuleP, const char* iNameP) {
  return reinterpret_cast<QuilTraceLibrary::BoundOnlyProc>(dlsym(iModuleP, iNameP));
}
#endif

}  // namespace

constinit std::atomic<int> QuilTraceLibrary::sTraceIsActive{0};
constinit QuilTraceLibrary::FormatProc QuilTraceLibrary::sFormat = nullptr;
constinit QuilTraceLibrary::FacilityOnProc QuilTraceLibrary::sFacilityOn = nullptr;

namespace {
// The flag and the table above are constant-initialised: a trace site that runs before this object is made
// finds tracing off.
QuilTraceLibrary sLibrary;
}  // namespace

// ---- lifetime ----

QuilTraceLibrary::QuilTraceLibrary() : mFileName(kFileName) {
  sLibraryP = this;
  BindAll();
}

QuilTraceLibrary::~QuilTraceLibrary() {
  sTraceIsActive.store(0, std::memory_order_release);
  sLibraryP = nullptr;
}

const QuilTraceLibrary* QuilTraceLibrary::Get() { return sLibraryP; }

const std::array<QuilTraceLibrary::EntryPoint, QuilTraceLibrary::kEntryPointCount>&
QuilTraceLibrary::GetEntryPoints() {
  return sEntryPoints;
}

// ---- binding ----

void QuilTraceLibrary::BindAll() {
  bool allBound = true;
  for (EntryPoint& entry : sEntryPoints) {
    entry.mResult = Bind(entry);
    allBound = allBound && entry.mResult == 0;
  }
  sFormat = reinterpret_cast<FormatProc>(sEntryPoints[kFormat].mProcP);
  sFacilityOn = reinterpret_cast<FacilityOnProc>(sEntryPoints[kFacilityOn].mProcP);
  const int isActive = allBound ? reinterpret_cast<IsActiveProc>(sEntryPoints[kIsActive].mProcP)() : 0;
  sTraceIsActive.store(isActive, std::memory_order_release);
}

std::int32_t QuilTraceLibrary::Bind(EntryPoint& ioEntry) {
  ioEntry.mProcP = nullptr;
  // A load that failed is tried again for each name: nothing remembers the failure, and it costs only at load
  // time.
  if (mModuleP == nullptr) mModuleP = LoadModule(mFileName);
  if (mModuleP == nullptr) return kLibraryNotFound;
  ioEntry.mProcP = LookUp(mModuleP, ioEntry.mNameP);
  return ioEntry.mProcP == nullptr ? kNameNotFound : 0;
}

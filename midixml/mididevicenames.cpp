// SPDX-License-Identifier: MIT
#include "midixml/mididevicenames.h"

#include <algorithm>
#include <memory>

#include "midixml/nameindex.h"

namespace midixml {

MIDIDeviceNames::~MIDIDeviceNames() = default;

namespace {

// The indices of one place where lists stand: a mode, or the device. Made of the vectors of either.
struct Scope {
  template <class Owner>
  explicit Scope(const Owner& iOwner)
      : mPatchNameLists(iOwner.mPatchNameLists),
        mNoteNameLists(iOwner.mNoteNameLists),
        mControlNameLists(iOwner.mControlNameLists),
        mValueNameLists(iOwner.mValueNameLists) {}

  NameIndex<PatchNameList> mPatchNameLists;
  NameIndex<NoteNameList> mNoteNameLists;
  NameIndex<ControlNameList> mControlNameLists;
  NameIndex<ValueNameList> mValueNameLists;
};

// References of one set or list that found nothing so far. The set may be met again in another mode, which
// may have what they look for; the device was asked the first time and has nothing new. Met again, they cost
// no more than the smaller of the two sides, so that many modes and many unresolved references don't
// multiply.
template <class T>
class PendingRefs {
 public:
  // The first visit: asks the mode, if any, then the device, and remembers what stays open.
  void VisitFirst(NamedRef<T>& ioRef, NameIndex<T>* iModeP, NameIndex<T>& iDevice) {
    if (!ioRef.IsUnresolved()) return;
    if (iModeP) iModeP->Resolve(ioRef);
    iDevice.Resolve(ioRef);
    if (ioRef.IsUnresolved()) mRefs.push_back(&ioRef);
  }

  // A later visit, from another mode.
  void VisitAgain(NameIndex<T>& iMode) {
    if (mRefs.empty() || iMode.GetList().empty()) return;
    if (mRefs.size() <= iMode.GetList().size()) {
      for (NamedRef<T>* refP : mRefs) iMode.Resolve(*refP);
      std::erase_if(mRefs, [](const NamedRef<T>* iRefP) { return !iRefP->IsUnresolved(); });
      mByName.reset();
      return;
    }
    OfferEach(iMode.GetList());
  }

 private:
  using ByName = std::unordered_multimap<std::string_view, NamedRef<T>*>;

  // Goes by the lists and not by the references: in order, so that the first of a name takes them.
  void OfferEach(const std::vector<NamedRef<T>>& iLists) {
    if (!mByName) {
      mByName = std::make_unique<ByName>();
      for (NamedRef<T>* refP : mRefs) mByName->emplace(refP->mName.View(), refP);
    }
    for (const NamedRef<T>& element : iLists) {
      T* objectP = element.GetObject();
      const auto [begin, end] = mByName->equal_range(objectP->mName.View());
      for (auto it = begin; it != end; ++it) it->second->SetObject(objectP);
      mByName->erase(begin, end);
    }
  }

  // May hold resolved ones once mByName is made; Resolve passes over those.
  std::vector<NamedRef<T>*> mRefs;
  std::unique_ptr<ByName> mByName;
};

class Resolver {
 public:
  explicit Resolver(MIDIDeviceNames& ioDevice)
      : mDevice(ioDevice), mDeviceScope(ioDevice), mChannelNameSets(ioDevice.mChannelNameSets) {}

  void Run() {
    for (const NamedRef<Mode>& mode : mDevice.mModes) {
      Scope scope(*mode.GetObject());
      mModeScopeP = &scope;
      ++mVisit;
      ResolveMode(*mode.GetObject());
    }
    mModeScopeP = nullptr;
    ++mVisit;
    ResolveLists(mDevice.mPatchNameLists, mDevice.mControlNameLists);
  }

 private:
  // What is known about a control list that was met: in which mode last, and what stayed open.
  struct ControlState {
    int mLastVisit = 0;
    PendingRefs<ValueNameList> mPending;
  };
  struct SetState {
    bool mVisited = false;
    PendingRefs<PatchNameList> mPending;
  };

  void ResolveMode(Mode& ioMode) {
    for (int channel = 0; channel < kChannelCount; ++channel) {
      mChannelNameSets.Resolve(ioMode.mChannelNameSets[static_cast<size_t>(channel)]);
    }
    for (int channel = 0; channel < kChannelCount; ++channel) {
      if (ChannelNameSet* setP = FirstUse(ioMode, channel)) ResolveSet(*setP);
    }
    ResolveLists(ioMode.mPatchNameLists, ioMode.mControlNameLists);
  }

  // The set of a channel, or null if there is none or an earlier channel of the mode has the same.
  static ChannelNameSet* FirstUse(const Mode& iMode, int iChannel) {
    const auto end = iMode.mChannelNameSets.begin() + iChannel;
    ChannelNameSet* setP = end->GetObject();
    const auto sameSet = [setP](const ChannelNameSetAssign& iAssign) { return iAssign.GetObject() == setP; };
    return std::any_of(iMode.mChannelNameSets.begin(), end, sameSet) ? nullptr : setP;
  }

  void ResolveSet(ChannelNameSet& ioSet) {
    SetState& state = mSets[&ioSet];
    if (!state.mVisited) {
      state.mVisited = true;
      for (PatchBank& bank : ioSet.mPatchBanks) {
        state.mPending.VisitFirst(bank.mPatchNameList, &mModeScopeP->mPatchNameLists,
                                  mDeviceScope.mPatchNameLists);
      }
    } else {
      state.mPending.VisitAgain(mModeScopeP->mPatchNameLists);
    }
    ResolveNotesAndControls(ioSet.mNoteNameList, ioSet.mControlNameList);
  }

  void ResolveLists(const std::vector<NamedRef<PatchNameList>>& iPatchLists,
                    const std::vector<NamedRef<ControlNameList>>& iControlLists) {
    for (const NamedRef<PatchNameList>& list : iPatchLists) {
      for (Patch& patch : *list.GetObject())
        ResolveNotesAndControls(patch.mNoteNameList, patch.mControlNameList);
    }
    for (const NamedRef<ControlNameList>& list : iControlLists) ResolveControls(*list.GetObject());
  }

  void ResolveNotesAndControls(NamedRef<NoteNameList>& ioNotes, NamedRef<ControlNameList>& ioControls) {
    if (mModeScopeP) mModeScopeP->mNoteNameLists.Resolve(ioNotes);
    mDeviceScope.mNoteNameLists.Resolve(ioNotes);
    if (mModeScopeP) mModeScopeP->mControlNameLists.Resolve(ioControls);
    mDeviceScope.mControlNameLists.Resolve(ioControls);
    if (ioControls.GetObject()) ResolveControls(*ioControls.GetObject());
  }

  void ResolveControls(ControlNameList& ioList) {
    // Thousands of patches in a row may name one list.
    if (&ioList == mLastControlsP && mVisit == mLastControlsVisit) return;
    mLastControlsP = &ioList;
    mLastControlsVisit = mVisit;

    ControlState& state = mControls[&ioList];
    if (state.mLastVisit == mVisit) return;
    const bool first = state.mLastVisit == 0;
    state.mLastVisit = mVisit;
    if (first) {
      NameIndex<ValueNameList>* modeListsP = mModeScopeP ? &mModeScopeP->mValueNameLists : nullptr;
      for (Control& control : ioList) {
        state.mPending.VisitFirst(control.mValueNameList, modeListsP, mDeviceScope.mValueNameLists);
      }
    } else if (mModeScopeP) {
      state.mPending.VisitAgain(mModeScopeP->mValueNameLists);
    }
  }

  MIDIDeviceNames& mDevice;
  Scope mDeviceScope;
  NameIndex<ChannelNameSet> mChannelNameSets;
  // Null at the device's own lists.
  Scope* mModeScopeP = nullptr;
  // Numbers the modes, and the device behind them, from 1.
  int mVisit = 0;
  const ControlNameList* mLastControlsP = nullptr;
  int mLastControlsVisit = 0;
  std::unordered_map<const ChannelNameSet*, SetState> mSets;
  std::unordered_map<const ControlNameList*, ControlState> mControls;
};

}  // namespace

void MIDIDeviceNames::ResolveReferences(bool) { Resolver(*this).Run(); }

void MIDIDeviceNames::SetBankPatchNameList(PatchBank& ioBank, const char* iNameP,
                                           const std::vector<NamedRef<PatchNameList>>& iLists) {
  ioBank.mPatchNameList.SetObject(nullptr);
  ioBank.mPatchNameList.mName = iNameP;
  ioBank.mPatchNameList.Resolve(iLists.begin(), iLists.end());
}

}  // namespace midixml

// SPDX-License-Identifier: MIT
#include "midixml/mididevicenames.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "midixml/countedptr.h"
#include "tests/midixml/name_documents.h"

using midixml::ChannelNameSet;
using midixml::Control;
using midixml::ControlNameList;
using midixml::CountedPtr;
using midixml::MIDIDeviceNames;
using midixml::Mode;
using midixml::NamedRef;
using midixml::NoteNameList;
using midixml::Patch;
using midixml::PatchBank;
using midixml::PatchNameList;
using midixml::ValueNameList;

namespace {

template <class T>
T* Add(std::vector<NamedRef<T>>& ioList, const std::string& iName) {
  const auto object = CountedPtr<T>::Make();
  object->mName.Assign(iName);
  ioList.emplace_back(object.get());
  return object.get();
}

PatchBank& AddBank(ChannelNameSet& ioSet, const std::string& iList) {
  PatchBank& bank = ioSet.mPatchBanks.emplace_back();
  bank.mPatchNameList.mName.Assign(iList);
  return bank;
}

Control& AddControl(ControlNameList& ioList, const std::string& iValues) {
  Control& control = ioList.emplace_back();
  control.mValueNameList.mName.Assign(iValues);
  return control;
}

Patch& AddPatch(PatchNameList& ioList, const std::string& iNotes, const std::string& iControls) {
  Patch& patch = ioList.emplace_back();
  patch.mNoteNameList.mName.Assign(iNotes);
  patch.mControlNameList.mName.Assign(iControls);
  return patch;
}

class ResolveReferencesTest : public testing::Test {
 protected:
  Mode* AddMode(const std::string& iSet = "") {
    Mode* modeP = Add(mDevice.mModes, "mode");
    modeP->mChannelNameSets[0].mName.Assign(iSet);
    return modeP;
  }
  void Resolve() { mDevice.ResolveReferences(false); }
  double SecondsOfResolving();

  MIDIDeviceNames mDevice;
};

// ---- the steps ----

TEST_F(ResolveReferencesTest, Step11EachChannelsSetIsLookedForInTheDevice) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  Mode* modeP = AddMode("S");
  modeP->mChannelNameSets[15].mName = "S";
  modeP->mChannelNameSets[7].mName = "other";
  Resolve();
  EXPECT_EQ(modeP->mChannelNameSets[0].GetObject(), setP);
  EXPECT_EQ(modeP->mChannelNameSets[15].GetObject(), setP);
  EXPECT_EQ(modeP->mChannelNameSets[7].GetObject(), nullptr);
  EXPECT_EQ(modeP->mChannelNameSets[1].GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, Step12BanksOfAnAssignedSetTakeTheModesListThenTheDevices) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  PatchBank& both = AddBank(*setP, "both");
  AddBank(*setP, "deviceOnly");
  AddBank(*setP, "nowhere");
  Mode* modeP = AddMode("S");
  PatchNameList* ofModeP = Add(modeP->mPatchNameLists, "both");
  Add(mDevice.mPatchNameLists, "both");
  PatchNameList* ofDeviceP = Add(mDevice.mPatchNameLists, "deviceOnly");
  (void)both;
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), ofModeP);
  EXPECT_EQ(setP->mPatchBanks[1].mPatchNameList.GetObject(), ofDeviceP);
  EXPECT_EQ(setP->mPatchBanks[2].mPatchNameList.GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, Step12NotesAndControlsOfAnAssignedSetTakeTheModesListThenTheDevices) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  setP->mNoteNameList.mName = "N";
  setP->mControlNameList.mName = "C";
  ChannelNameSet* otherP = Add(mDevice.mChannelNameSets, "T");
  otherP->mNoteNameList.mName = "N2";
  otherP->mControlNameList.mName = "C2";
  Mode* modeP = AddMode("S");
  modeP->mChannelNameSets[1].mName = "T";
  NoteNameList* notesP = Add(modeP->mNoteNameLists, "N");
  ControlNameList* controlsP = Add(modeP->mControlNameLists, "C");
  Add(mDevice.mNoteNameLists, "N");
  Add(mDevice.mControlNameLists, "C");
  NoteNameList* notes2P = Add(mDevice.mNoteNameLists, "N2");
  ControlNameList* controls2P = Add(mDevice.mControlNameLists, "C2");
  Resolve();
  EXPECT_EQ(setP->mNoteNameList.GetObject(), notesP);
  EXPECT_EQ(setP->mControlNameList.GetObject(), controlsP);
  EXPECT_EQ(otherP->mNoteNameList.GetObject(), notes2P);
  EXPECT_EQ(otherP->mControlNameList.GetObject(), controls2P);
}

TEST_F(ResolveReferencesTest, Step12ValuesOfASetsControlsTakeTheModesListThenTheDevices) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  setP->mControlNameList.mName = "C";
  AddMode("S");
  ControlNameList* controlsP = Add(mDevice.mControlNameLists, "C");
  AddControl(*controlsP, "V");
  AddControl(*controlsP, "W");
  Mode* modeP = mDevice.mModes[0].GetObject();
  ValueNameList* ofModeP = Add(modeP->mValueNameLists, "V");
  Add(mDevice.mValueNameLists, "V");
  ValueNameList* ofDeviceP = Add(mDevice.mValueNameLists, "W");
  Resolve();
  EXPECT_EQ((*controlsP)[0].mValueNameList.GetObject(), ofModeP);
  EXPECT_EQ((*controlsP)[1].mValueNameList.GetObject(), ofDeviceP);
}

TEST_F(ResolveReferencesTest, Step13PatchesOfTheModeTakeTheModesListsThenTheDevices) {
  Mode* modeP = AddMode();
  PatchNameList* listP = Add(modeP->mPatchNameLists, "L");
  AddPatch(*listP, "N", "C");
  AddPatch(*listP, "N2", "C2");
  NoteNameList* notesP = Add(modeP->mNoteNameLists, "N");
  ControlNameList* controlsP = Add(modeP->mControlNameLists, "C");
  Add(mDevice.mNoteNameLists, "N");
  NoteNameList* notes2P = Add(mDevice.mNoteNameLists, "N2");
  ControlNameList* controls2P = Add(mDevice.mControlNameLists, "C2");
  AddControl(*controls2P, "V");
  ValueNameList* valuesP = Add(modeP->mValueNameLists, "V");
  Add(mDevice.mValueNameLists, "V");
  Resolve();
  EXPECT_EQ((*listP)[0].mNoteNameList.GetObject(), notesP);
  EXPECT_EQ((*listP)[0].mControlNameList.GetObject(), controlsP);
  EXPECT_EQ((*listP)[1].mNoteNameList.GetObject(), notes2P);
  EXPECT_EQ((*listP)[1].mControlNameList.GetObject(), controls2P);
  EXPECT_EQ((*controls2P)[0].mValueNameList.GetObject(), valuesP);
}

TEST_F(ResolveReferencesTest, Step13ValuesOfAPatchsInlineControlsAreResolved) {
  Mode* modeP = AddMode();
  PatchNameList* listP = Add(modeP->mPatchNameLists, "L");
  const auto inlineList = CountedPtr<ControlNameList>::Make();
  AddControl(*inlineList.get(), "V");
  AddPatch(*listP, "", "").mControlNameList.SetObject(inlineList.get());
  ValueNameList* valuesP = Add(mDevice.mValueNameLists, "V");
  Resolve();
  EXPECT_EQ((*inlineList.get())[0].mValueNameList.GetObject(), valuesP);
}

TEST_F(ResolveReferencesTest, Step14ControlsOfTheModeTakeTheModesValuesThenTheDevices) {
  Mode* modeP = AddMode();
  ControlNameList* controlsP = Add(modeP->mControlNameLists, "C");
  AddControl(*controlsP, "V");
  AddControl(*controlsP, "W");
  ValueNameList* ofModeP = Add(modeP->mValueNameLists, "V");
  Add(mDevice.mValueNameLists, "V");
  ValueNameList* ofDeviceP = Add(mDevice.mValueNameLists, "W");
  Resolve();
  EXPECT_EQ((*controlsP)[0].mValueNameList.GetObject(), ofModeP);
  EXPECT_EQ((*controlsP)[1].mValueNameList.GetObject(), ofDeviceP);
}

TEST_F(ResolveReferencesTest, Step2PatchesOfTheDeviceTakeTheDevicesListsAndNoModes) {
  Mode* modeP = AddMode();
  Add(modeP->mNoteNameLists, "onlyInMode");
  PatchNameList* listP = Add(mDevice.mPatchNameLists, "L");
  AddPatch(*listP, "N", "C");
  AddPatch(*listP, "onlyInMode", "");
  NoteNameList* notesP = Add(mDevice.mNoteNameLists, "N");
  ControlNameList* controlsP = Add(mDevice.mControlNameLists, "C");
  AddControl(*controlsP, "V");
  ValueNameList* valuesP = Add(mDevice.mValueNameLists, "V");
  Resolve();
  EXPECT_EQ((*listP)[0].mNoteNameList.GetObject(), notesP);
  EXPECT_EQ((*listP)[0].mControlNameList.GetObject(), controlsP);
  EXPECT_EQ((*controlsP)[0].mValueNameList.GetObject(), valuesP);
  EXPECT_EQ((*listP)[1].mNoteNameList.GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, Step3ControlsOfTheDeviceTakeTheDevicesValuesAndNoModes) {
  Mode* modeP = AddMode();
  Add(modeP->mValueNameLists, "onlyInMode");
  ControlNameList* controlsP = Add(mDevice.mControlNameLists, "C");
  AddControl(*controlsP, "V");
  AddControl(*controlsP, "onlyInMode");
  ValueNameList* valuesP = Add(mDevice.mValueNameLists, "V");
  Resolve();
  EXPECT_EQ((*controlsP)[0].mValueNameList.GetObject(), valuesP);
  EXPECT_EQ((*controlsP)[1].mValueNameList.GetObject(), nullptr);
}

// ---- the rules ----

TEST_F(ResolveReferencesTest, OfTwoListsWithOneNameTheFirstInTheVectorWins) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  AddBank(*setP, "L");
  AddMode("S");
  PatchNameList* firstP = Add(mDevice.mPatchNameLists, "L");
  Add(mDevice.mPatchNameLists, "L");
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), firstP);
}

TEST_F(ResolveReferencesTest, OfManyListsWithOneNameTheFirstInTheVectorWins) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  AddBank(*setP, "L");
  AddMode("S");
  for (int index = 0; index < 50; ++index) Add(mDevice.mPatchNameLists, "other" + std::to_string(index));
  PatchNameList* firstP = Add(mDevice.mPatchNameLists, "L");
  for (int index = 0; index < 50; ++index) Add(mDevice.mPatchNameLists, "L");
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), firstP);
}

TEST_F(ResolveReferencesTest, ASetThatNoChannelAssignsIsLeftUnresolved) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  AddBank(*setP, "L");
  setP->mNoteNameList.mName = "N";
  AddMode("");
  Add(mDevice.mPatchNameLists, "L");
  Add(mDevice.mNoteNameLists, "N");
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), nullptr);
  EXPECT_EQ(setP->mNoteNameList.GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, PatchesOfABanksInlineListResolveInNoStep) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  const auto inlineList = CountedPtr<PatchNameList>::Make();
  AddPatch(*inlineList.get(), "N", "");
  setP->mPatchBanks.emplace_back().mPatchNameList.SetObject(inlineList.get());
  AddMode("S");
  Add(mDevice.mNoteNameLists, "N");
  Resolve();
  EXPECT_EQ((*inlineList.get())[0].mNoteNameList.GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, ASecondModesListFillsWhatTheFirstLeftOpen) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  AddBank(*setP, "a");
  AddBank(*setP, "b");
  AddBank(*setP, "b");
  AddMode("S");
  Mode* secondP = AddMode("S");
  PatchNameList* ofSecondP = Add(secondP->mPatchNameLists, "b");
  Add(secondP->mPatchNameLists, "b");
  Add(secondP->mPatchNameLists, "a");
  PatchNameList* ofDeviceP = Add(mDevice.mPatchNameLists, "a");
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), ofDeviceP)
      << "a later look never replaces a hit";
  EXPECT_EQ(setP->mPatchBanks[1].mPatchNameList.GetObject(), ofSecondP);
  EXPECT_EQ(setP->mPatchBanks[2].mPatchNameList.GetObject(), ofSecondP);
}

TEST_F(ResolveReferencesTest, WhatAModeFilledStaysHoweverManyListsLaterModesHave) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  for (const char* nameP : {"a", "b", "c"}) AddBank(*setP, nameP);
  AddMode("S");
  Add(AddMode("S")->mPatchNameLists, "x");
  Mode* fillingP = AddMode("S");
  PatchNameList* filledP = Add(fillingP->mPatchNameLists, "a");
  for (const char* nameP : {"y", "z"}) Add(fillingP->mPatchNameLists, nameP);
  Add(AddMode("S")->mPatchNameLists, "a");
  Resolve();
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), filledP);
  EXPECT_TRUE(setP->mPatchBanks[1].mPatchNameList.IsUnresolved());
}

TEST_F(ResolveReferencesTest, LaterModesFillValuesOfASharedControlList) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  setP->mControlNameList.mName = "C";
  ControlNameList* controlsP = Add(mDevice.mControlNameLists, "C");
  AddControl(*controlsP, "V");
  AddControl(*controlsP, "W");
  AddControl(*controlsP, "X");
  AddMode("S");
  ValueNameList* secondP = Add(AddMode("S")->mValueNameLists, "V");
  ValueNameList* thirdP = Add(AddMode("S")->mValueNameLists, "W");
  Resolve();
  EXPECT_EQ((*controlsP)[0].mValueNameList.GetObject(), secondP);
  EXPECT_EQ((*controlsP)[1].mValueNameList.GetObject(), thirdP);
  EXPECT_EQ((*controlsP)[2].mValueNameList.GetObject(), nullptr);
}

// Straight from the rules, step by step and with a walk for every look: what any cleverness has to agree
// with.
class PlainResolver {
 public:
  explicit PlainResolver(MIDIDeviceNames& ioDevice) : mDevice(ioDevice) {}

  void Run() {
    for (auto& element : mDevice.mModes) {
      Mode& mode = *element.GetObject();
      for (auto& assign : mode.mChannelNameSets) {
        assign.Resolve(mDevice.mChannelNameSets.begin(), mDevice.mChannelNameSets.end());
      }
      for (size_t channel = 0; channel < 16; ++channel) {
        ChannelNameSet* setP = mode.mChannelNameSets[channel].GetObject();
        bool earlier = false;
        for (size_t before = 0; before < channel; ++before) {
          earlier = earlier || mode.mChannelNameSets[before].GetObject() == setP;
        }
        if (!setP || earlier) continue;
        for (PatchBank& bank : setP->mPatchBanks)
          Look(bank.mPatchNameList, &mode.mPatchNameLists, mDevice.mPatchNameLists);
        NotesAndControls(setP->mNoteNameList, setP->mControlNameList, &mode);
      }
      for (auto& list : mode.mPatchNameLists) {
        for (Patch& patch : *list.GetObject())
          NotesAndControls(patch.mNoteNameList, patch.mControlNameList, &mode);
      }
      for (auto& list : mode.mControlNameLists) Values(*list.GetObject(), &mode);
    }
    for (auto& list : mDevice.mPatchNameLists) {
      for (Patch& patch : *list.GetObject())
        NotesAndControls(patch.mNoteNameList, patch.mControlNameList, nullptr);
    }
    for (auto& list : mDevice.mControlNameLists) Values(*list.GetObject(), nullptr);
  }

 private:
  template <class T>
  static void Look(NamedRef<T>& ioRef, const std::vector<NamedRef<T>>* iModeP,
                   const std::vector<NamedRef<T>>& iDevice) {
    if (iModeP) ioRef.Resolve(iModeP->begin(), iModeP->end());
    ioRef.Resolve(iDevice.begin(), iDevice.end());
  }
  void NotesAndControls(NamedRef<NoteNameList>& ioNotes, NamedRef<ControlNameList>& ioControls,
                        Mode* iModeP) {
    Look(ioNotes, iModeP ? &iModeP->mNoteNameLists : nullptr, mDevice.mNoteNameLists);
    Look(ioControls, iModeP ? &iModeP->mControlNameLists : nullptr, mDevice.mControlNameLists);
    if (ioControls.GetObject()) Values(*ioControls.GetObject(), iModeP);
  }
  void Values(ControlNameList& ioList, Mode* iModeP) {
    for (Control& control : ioList) {
      Look(control.mValueNameList, iModeP ? &iModeP->mValueNameLists : nullptr, mDevice.mValueNameLists);
    }
  }

  MIDIDeviceNames& mDevice;
};

// A device at random out of few names, so that everything meets. Called twice with one seed it makes equal
// devices.
class RandomDevice {
 public:
  RandomDevice(unsigned iSeed, MIDIDeviceNames& oDevice) : mState(iSeed * 2654435761u + 1), mNext(0) {
    for (unsigned count = Number(4); count > 0; --count) FillSet(*Add(oDevice.mChannelNameSets, Name()));
    for (unsigned count = Number(5); count > 0; --count) {
      Mode* modeP = Add(oDevice.mModes, Name());
      for (auto& assign : modeP->mChannelNameSets) assign.mName.Assign(Name());
      FillLists(*modeP);
    }
    FillLists(oDevice);
  }

 private:
  unsigned Number(unsigned iBelow) {
    mState = mState * 1664525u + 1013904223u;
    return (mState >> 10) % iBelow;
  }
  std::string Name() { return std::string(Number(5) == 0 ? 0 : 1, static_cast<char>('a' + Number(6))); }

  void FillSet(ChannelNameSet& oSet) {
    for (unsigned count = Number(30); count > 0; --count) AddBank(oSet, Name());
    oSet.mNoteNameList.mName.Assign(Name());
    oSet.mControlNameList.mName.Assign(Name());
  }

  template <class Owner>
  void FillLists(Owner& oOwner) {
    for (unsigned count = Number(20); count > 0; --count) {
      PatchNameList* listP = Add(oOwner.mPatchNameLists, Name());
      for (unsigned patches = Number(4); patches > 0; --patches) AddPatch(*listP, Name(), Name());
    }
    for (unsigned count = Number(20); count > 0; --count) Add(oOwner.mNoteNameLists, Name());
    for (unsigned count = Number(12); count > 0; --count) {
      ControlNameList* listP = Add(oOwner.mControlNameLists, Name());
      for (unsigned controls = Number(20); controls > 0; --controls) AddControl(*listP, Name());
    }
    for (unsigned count = Number(12); count > 0; --count) Add(oOwner.mValueNameLists, Name());
  }

  unsigned mState;
  unsigned mNext;
};

// Numbers every object by where it stands, and writes down where every reference leads.
class Picture {
 public:
  explicit Picture(const MIDIDeviceNames& iDevice) {
    Number(iDevice, "device");
    for (size_t index = 0; index < iDevice.mModes.size(); ++index) {
      Number(*iDevice.mModes[index].GetObject(), "mode" + std::to_string(index));
    }
    for (size_t index = 0; index < iDevice.mChannelNameSets.size(); ++index) {
      mPlaces[iDevice.mChannelNameSets[index].GetObject()] = "set" + std::to_string(index);
    }
    for (const auto& set : iDevice.mChannelNameSets) Draw(*set.GetObject());
    for (const auto& mode : iDevice.mModes) {
      for (const auto& assign : mode.GetObject()->mChannelNameSets) Draw(assign);
      DrawLists(*mode.GetObject());
    }
    DrawLists(iDevice);
  }
  std::string mText;

 private:
  template <class T>
  void NumberAll(const std::vector<NamedRef<T>>& iList, const std::string& iPlace) {
    for (size_t index = 0; index < iList.size(); ++index) {
      mPlaces[iList[index].GetObject()] = iPlace + "." + std::to_string(index);
    }
  }
  template <class Owner>
  void Number(const Owner& iOwner, const std::string& iPlace) {
    NumberAll(iOwner.mPatchNameLists, iPlace);
    NumberAll(iOwner.mNoteNameLists, iPlace);
    NumberAll(iOwner.mControlNameLists, iPlace);
    NumberAll(iOwner.mValueNameLists, iPlace);
  }
  template <class T>
  void Draw(const NamedRef<T>& iRef) {
    mText += iRef.mName.AsString() + ">" + (iRef.GetObject() ? mPlaces[iRef.GetObject()] : "-") + " ";
  }
  void Draw(const ChannelNameSet& iSet) {
    for (const PatchBank& bank : iSet.mPatchBanks) Draw(bank.mPatchNameList);
    Draw(iSet.mNoteNameList);
    Draw(iSet.mControlNameList);
  }
  template <class Owner>
  void DrawLists(const Owner& iOwner) {
    for (const auto& list : iOwner.mPatchNameLists) {
      for (const Patch& patch : *list.GetObject()) {
        Draw(patch.mNoteNameList);
        Draw(patch.mControlNameList);
      }
    }
    for (const auto& list : iOwner.mControlNameLists) {
      for (const Control& control : *list.GetObject()) Draw(control.mValueNameList);
    }
  }

  std::map<const void*, std::string> mPlaces;
};

TEST_F(ResolveReferencesTest, AgreesWithThePlainRulesOverRandomDevices) {
  for (unsigned seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    MIDIDeviceNames plain;
    MIDIDeviceNames indexed;
    RandomDevice(seed, plain);
    RandomDevice(seed, indexed);
    PlainResolver(plain).Run();
    indexed.ResolveReferences(false);
    ASSERT_EQ(Picture(indexed).mText, Picture(plain).mText);
  }
}

// ---- cost ----

// Of the processor, so that a loaded machine changes nothing.
double ResolveReferencesTest::SecondsOfResolving() {
  const std::clock_t begin = std::clock();
  Resolve();
  return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

// A walk for every look would take 10,000,000,000 comparisons here, and minutes.
TEST_F(ResolveReferencesTest, AHundredThousandListsAndReferencesTakeLinearTime) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  AddMode("S");
  for (int index = 0; index < 100000; ++index) {
    Add(mDevice.mPatchNameLists, "list" + std::to_string(index));
    AddBank(*setP, "list" + std::to_string(99999 - index));
  }
  EXPECT_LT(SecondsOfResolving(), 10.0);
  EXPECT_EQ(setP->mPatchBanks[7].mPatchNameList.GetObject(), mDevice.mPatchNameLists[99992].GetObject());
}

TEST_F(ResolveReferencesTest, ManyModesWithOneSetOfManyOpenBanksTakeLinearTime) {
  ChannelNameSet* setP = Add(mDevice.mChannelNameSets, "S");
  for (int index = 0; index < 30000; ++index) AddBank(*setP, "open" + std::to_string(index));
  for (int index = 0; index < 30000; ++index)
    Add(AddMode("S")->mPatchNameLists, "list" + std::to_string(index));
  mDevice.mModes.back().GetObject()->mPatchNameLists[0].GetObject()->mName = "open29999";
  EXPECT_LT(SecondsOfResolving(), 10.0);
  EXPECT_NE(setP->mPatchBanks[29999].mPatchNameList.GetObject(), nullptr);
  EXPECT_EQ(setP->mPatchBanks[0].mPatchNameList.GetObject(), nullptr);
}

TEST_F(ResolveReferencesTest, ManyPatchesWithOneLongControlListTakeLinearTime) {
  Mode* modeP = AddMode("");
  PatchNameList* listP = Add(modeP->mPatchNameLists, "L");
  ControlNameList* controlsP = Add(mDevice.mControlNameLists, "C");
  Add(modeP->mValueNameLists, "V");
  for (int index = 0; index < 50000; ++index) {
    AddPatch(*listP, "", "C");
    AddControl(*controlsP, "open" + std::to_string(index));
  }
  EXPECT_LT(SecondsOfResolving(), 10.0);
  EXPECT_EQ((*listP)[49999].mControlNameList.GetObject(), controlsP);
}

// ---- banks, and who keeps what ----

TEST(SetBankPatchNameList, EmptiesAndResolvesAgainstTheList) {
  const auto old = CountedPtr<PatchNameList>::Make();
  std::vector<NamedRef<PatchNameList>> lists;
  Add(lists, "A");
  PatchNameList* secondP = Add(lists, "B");
  PatchBank bank;
  bank.mPatchNameList.SetObject(old.get());
  MIDIDeviceNames::SetBankPatchNameList(bank, "B", lists);
  EXPECT_EQ(bank.mPatchNameList.GetObject(), secondP);
  EXPECT_EQ(bank.mPatchNameList.mName.View(), "B");
  EXPECT_EQ(old->GetReferenceCount(), 1);
  MIDIDeviceNames::SetBankPatchNameList(bank, "C", lists);
  EXPECT_EQ(bank.mPatchNameList.GetObject(), nullptr);
  EXPECT_EQ(bank.mPatchNameList.mName.View(), "C");
}

TEST(MIDIDeviceNames, DestructionReleasesEveryListThatNothingElseHolds) {
  NamedRef<PatchNameList> held;
  {
    MIDIDeviceNames device;
    PatchNameList* listP = Add(device.mPatchNameLists, "L");
    held.SetObject(listP);
    EXPECT_EQ(listP->GetReferenceCount(), 2);
  }
  EXPECT_EQ(held.GetObject()->GetReferenceCount(), 1);
  EXPECT_EQ(held.GetObject()->mName.View(), "L");
}

TEST(MIDINameDocument, OwnsTheDevicesPutIntoIt) {
  NamedRef<PatchNameList> held;
  {
    midixml::MIDINameDocument document;
    auto* deviceP = new MIDIDeviceNames;
    held.SetObject(Add(deviceP->mPatchNameLists, "L"));
    document.mDevices.push_back(deviceP);
    document.mDevices.push_back(nullptr);
  }
  EXPECT_EQ(held.GetObject()->GetReferenceCount(), 1);
}

TEST(PatchChannelNameSets, CostNothingUntilMade) {
  EXPECT_LE(sizeof(Patch), 80u);
  Patch patch;
  EXPECT_TRUE(patch.mChannelNameSets[15].mName.IsEmpty());
  patch.mChannelNameSets.Make()[15].mName = "S";
  EXPECT_EQ(patch.mChannelNameSets[15].mName.View(), "S");
  const Patch copy(patch);
  patch.mChannelNameSets.Make()[15].mName = "T";
  EXPECT_EQ(copy.mChannelNameSets[15].mName.View(), "S");
  Patch assigned;
  assigned = copy;
  EXPECT_EQ(assigned.mChannelNameSets[15].mName.View(), "S");
}

TEST(NoteGroup, ACopyIsAnObjectOfItsOwn) {
  midixml::NoteGroup group;
  group.mName = "G";
  group.emplace_back().mNumber = 5;
  midixml::NoteGroup copy(group);
  EXPECT_EQ(copy.GetReferenceCount(), 1);
  EXPECT_EQ(copy.mName.View(), "G");
  EXPECT_EQ(copy.size(), 1u);
  midixml::NoteGroup assigned;
  assigned = group;
  EXPECT_EQ(assigned.at(0).mNumber, 5);
}

}  // namespace

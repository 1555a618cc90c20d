// SPDX-License-Identifier: MIT
/// \file
/// Changes documents of elements and attributes so that most of them stay well-formed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What a kind of document knows of one element.
struct Fuzz_ElementRule {
  std::string_view mName;
  std::vector<std::string_view> mAttributes;
  /// The elements that it may hold. Those that may not be there come by other ways.
  std::vector<std::string_view> mChildren;
};

/// A kind of document. The first rule is that of the root.
struct Fuzz_Grammar {
  std::vector<Fuzz_ElementRule> mRules;
  /// Values of attributes.
  std::vector<std::string_view> mValues;
  /// Pieces of content, with their markup.
  std::vector<std::string_view> mTexts;
};

/// One element, or a piece of content that is none.
struct Fuzz_Node {
  /// Empty for content.
  std::string mName;
  std::vector<std::pair<std::string, std::string>> mAttributes;
  std::vector<Fuzz_Node> mChildren;
  /// Content as it stands in the document.
  std::string mText;
};

/// Takes a document apart as far as it is one. What is no tag stays as content, byte for byte; an element
/// that isn't closed ends where the one around it does. The result holds all top-level nodes.
Fuzz_Node Fuzz_TakeApart(std::string_view iDocument);

/// Puts a document together again.
std::string Fuzz_PutTogether(const Fuzz_Node& iDocument);

/// Changes one thing about a document in each call.
class Fuzz_DocumentMutator {
 public:
  Fuzz_DocumentMutator(const Fuzz_Grammar& iGrammar, unsigned iSeed) : mGrammar(iGrammar), mRandom(iSeed) {}

  /// Adds, removes, moves, copies or renames an element, or changes an attribute or a piece of content.
  void Change(Fuzz_Node& ioDocument);
  /// Puts an element of one document into the other.
  void Cross(Fuzz_Node& ioDocument, Fuzz_Node& iOther);

 private:
  using Elements = std::vector<Fuzz_Node*>;

  std::size_t Below(std::size_t iLimit) { return mRandom() % iLimit; }
  template <class Container>
  auto& AnyOf(Container& iContainer) {
    return iContainer[Below(std::size(iContainer))];
  }

  void AddElement(const Elements& iElements);
  void RemoveChild(const Elements& iElements);
  void RepeatChild(const Elements& iElements);
  void CopyAnywhere(const Elements& iElements);
  void Rename(const Elements& iElements);
  void AddAttribute(const Elements& iElements);
  void ChangeAttribute(const Elements& iElements);
  void SwapAttributes(const Elements& iElements);
  void ReferTo(const Elements& iElements);
  void AddText(const Elements& iElements);

  const Fuzz_ElementRule* RuleOf(std::string_view iName) const;
  Fuzz_Node MakeElement(std::string_view iName);
  void Insert(Fuzz_Node& ioParent, Fuzz_Node iChild);

  const Fuzz_Grammar& mGrammar;
  std::minstd_rand mRandom;
};

/// Does the work of LLVMFuzzerCustomMutator for inputs whose last byte is no part of the document: changes
/// elements mostly, and bytes by iMutateBytes now and then, as for inputs that are no document.
std::size_t Fuzz_MutateDocument(const Fuzz_Grammar& iGrammar, std::uint8_t* ioDataP, std::size_t iSize,
                                std::size_t iMaxSize, unsigned iSeed,
                                std::size_t (*iMutateBytes)(std::uint8_t*, std::size_t, std::size_t));

/// Does the work of LLVMFuzzerCustomCrossOver for the same inputs.
std::size_t Fuzz_CrossDocuments(const Fuzz_Grammar& iGrammar, std::string_view iFirst,
                                std::string_view iSecond, std::uint8_t* oDataP, std::size_t iMaxSize,
                                unsigned iSeed);

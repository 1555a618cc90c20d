// SPDX-License-Identifier: MIT
#include "fuzz/documentmutator.h"

#include <algorithm>
#include <cstring>

namespace {

// Elements deeper than this are content to the mutator.
constexpr std::size_t kDeepest = 60;
// Copies grow a document by powers; one this large is good enough.
constexpr std::size_t kMostElements = 2000;

bool IsNameCharacter(char iCharacter) {
  return (iCharacter >= 'A' && iCharacter <= 'Z') || (iCharacter >= 'a' && iCharacter <= 'z') ||
         (iCharacter >= '0' && iCharacter <= '9');
}

bool IsSpace(char iCharacter) {
  return iCharacter == ' ' || iCharacter == '\n' || iCharacter == '\t' || iCharacter == '\r';
}

// A place in a text. Each operation gives an empty text, and takes nothing, where there is no such thing.
class Reader {
 public:
  explicit Reader(std::string_view iText) : mText(iText) {}

  bool IsAtEnd() const { return mText.empty(); }
  std::string_view Rest() const { return mText; }

  std::string_view Take(std::size_t iCount) {
    const std::string_view taken = mText.substr(0, iCount);
    mText.remove_prefix(taken.size());
    return taken;
  }
  bool TakeWord(std::string_view iWord) {
    if (!mText.starts_with(iWord)) return false;
    Take(iWord.size());
    return true;
  }
  template <class Predicate>
  std::string_view TakeWhile(Predicate iPredicate) {
    return Take(
        static_cast<std::size_t>(std::find_if_not(mText.begin(), mText.end(), iPredicate) - mText.begin()));
  }

 private:
  std::string_view mText;
};

bool ReadAttribute(Reader& ioReader, Fuzz_Node& ioElement) {
  const std::string name(ioReader.TakeWhile(IsNameCharacter));
  if (name.empty() || !ioReader.TakeWord("=")) return false;
  const char quote = ioReader.Rest().empty() ? '\0' : ioReader.Rest().front();
  if (quote != '"' && quote != '\'') return false;
  ioReader.Take(1);
  std::string value(ioReader.TakeWhile([quote](char iC) { return iC != quote; }));
  // Values are put together in double quotes.
  std::replace(value.begin(), value.end(), '"', '\'');
  ioElement.mAttributes.emplace_back(name, std::move(value));
  return !ioReader.Take(1).empty();
}

enum class Tag { kNone, kOpening, kWhole };

// Reads the tag that begins an element. Takes nothing if there is none.
Tag ReadTag(Reader& ioReader, Fuzz_Node& oElement) {
  Reader reader = ioReader;
  if (!reader.TakeWord("<")) return Tag::kNone;
  oElement.mName = reader.TakeWhile(IsNameCharacter);
  if (oElement.mName.empty()) return Tag::kNone;
  while (true) {
    reader.TakeWhile(IsSpace);
    const bool isWhole = reader.TakeWord("/>");
    if (isWhole || reader.TakeWord(">")) {
      ioReader = reader;
      return isWhole ? Tag::kWhole : Tag::kOpening;
    }
    if (!ReadAttribute(reader, oElement)) return Tag::kNone;
  }
}

// Reads what stands in an element, and the tag that closes it, if it is there.
void ReadContent(Reader& ioReader, Fuzz_Node& ioParent, std::size_t iDepth) {
  while (!ioReader.IsAtEnd()) {
    if (iDepth > 0 && ioReader.Rest().starts_with("</")) {
      Reader reader = ioReader;
      reader.Take(2);
      const std::string_view name = reader.TakeWhile(IsNameCharacter);
      reader.TakeWhile(IsSpace);
      if (reader.TakeWord(">") && name == ioParent.mName) ioReader = reader;
      return;
    }
    Fuzz_Node node;
    const Tag tag = iDepth < kDeepest ? ReadTag(ioReader, node) : Tag::kNone;
    if (tag == Tag::kNone) {
      node = {};
      node.mText = ioReader.Take(1);
      node.mText += ioReader.TakeWhile([](char iC) { return iC != '<'; });
    }
    ioParent.mChildren.push_back(std::move(node));
    if (tag == Tag::kOpening) ReadContent(ioReader, ioParent.mChildren.back(), iDepth + 1);
  }
}

void Write(const Fuzz_Node& iNode, std::string& ioText) {
  if (iNode.mName.empty()) {
    ioText += iNode.mText;
    return;
  }
  ioText += '<' + iNode.mName;
  for (const auto& [name, value] : iNode.mAttributes) {
    ioText.append(1, ' ').append(name).append("=\"").append(value).append(1, '"');
  }
  if (iNode.mChildren.empty()) {
    ioText += "/>";
    return;
  }
  ioText += '>';
  for (const Fuzz_Node& child : iNode.mChildren) Write(child, ioText);
  ioText += "</" + iNode.mName + '>';
}

void Collect(Fuzz_Node& ioNode, std::vector<Fuzz_Node*>& ioElements) {
  for (Fuzz_Node& child : ioNode.mChildren) {
    if (child.mName.empty() || ioElements.size() >= kMostElements) continue;
    ioElements.push_back(&child);
    Collect(child, ioElements);
  }
}

}  // namespace

// ---- documents ----

Fuzz_Node Fuzz_TakeApart(std::string_view iDocument) {
  Fuzz_Node document;
  Reader reader(iDocument);
  ReadContent(reader, document, 0);
  return document;
}

std::string Fuzz_PutTogether(const Fuzz_Node& iDocument) {
  std::string text;
  for (const Fuzz_Node& child : iDocument.mChildren) Write(child, text);
  return text;
}

// ---- one change ----

void Fuzz_DocumentMutator::Change(Fuzz_Node& ioDocument) {
  Elements elements;
  Collect(ioDocument, elements);
  if (elements.empty()) {
    ioDocument.mChildren.push_back(MakeElement(mGrammar.mRules.front().mName));
    return;
  }
  using Operation = void (Fuzz_DocumentMutator::*)(const Elements&);
  static constexpr Operation kOperations[] = {
      &Fuzz_DocumentMutator::AddElement,      &Fuzz_DocumentMutator::AddElement,
      &Fuzz_DocumentMutator::AddElement,      &Fuzz_DocumentMutator::RemoveChild,
      &Fuzz_DocumentMutator::RepeatChild,     &Fuzz_DocumentMutator::CopyAnywhere,
      &Fuzz_DocumentMutator::Rename,          &Fuzz_DocumentMutator::AddAttribute,
      &Fuzz_DocumentMutator::ChangeAttribute, &Fuzz_DocumentMutator::SwapAttributes,
      &Fuzz_DocumentMutator::ReferTo,         &Fuzz_DocumentMutator::ReferTo,
      &Fuzz_DocumentMutator::AddText};
  (this->*AnyOf(kOperations))(elements);
}

void Fuzz_DocumentMutator::Cross(Fuzz_Node& ioDocument, Fuzz_Node& iOther) {
  Elements here;
  Elements there;
  Collect(ioDocument, here);
  Collect(iOther, there);
  if (!here.empty() && !there.empty()) Insert(*AnyOf(here), *AnyOf(there));
}

// An element that the grammar allows, where it allows it.
void Fuzz_DocumentMutator::AddElement(const Elements& iElements) {
  Fuzz_Node& parent = *AnyOf(iElements);
  const Fuzz_ElementRule* ruleP = RuleOf(parent.mName);
  if (ruleP && !ruleP->mChildren.empty()) Insert(parent, MakeElement(AnyOf(ruleP->mChildren)));
}

void Fuzz_DocumentMutator::RemoveChild(const Elements& iElements) {
  auto& children = AnyOf(iElements)->mChildren;
  if (!children.empty())
    children.erase(children.begin() + static_cast<std::ptrdiff_t>(Below(children.size())));
}

void Fuzz_DocumentMutator::RepeatChild(const Elements& iElements) {
  Fuzz_Node& parent = *AnyOf(iElements);
  if (!parent.mChildren.empty()) Insert(parent, AnyOf(parent.mChildren));
}

void Fuzz_DocumentMutator::CopyAnywhere(const Elements& iElements) {
  Insert(*AnyOf(iElements), *AnyOf(iElements));
}

void Fuzz_DocumentMutator::Rename(const Elements& iElements) {
  AnyOf(iElements)->mName = AnyOf(mGrammar.mRules).mName;
}

void Fuzz_DocumentMutator::AddAttribute(const Elements& iElements) {
  Fuzz_Node& element = *AnyOf(iElements);
  const Fuzz_ElementRule* ruleP = RuleOf(element.mName);
  if (!ruleP || ruleP->mAttributes.empty()) return;
  const std::string name(AnyOf(ruleP->mAttributes));
  // A name that comes twice is a fault of every document.
  std::erase_if(element.mAttributes, [&](const auto& iAttribute) { return iAttribute.first == name; });
  element.mAttributes.emplace_back(name, AnyOf(mGrammar.mValues));
}

void Fuzz_DocumentMutator::ChangeAttribute(const Elements& iElements) {
  auto& attributes = AnyOf(iElements)->mAttributes;
  if (attributes.empty()) return;
  const std::size_t index = Below(attributes.size());
  if (Below(4) == 0) {
    attributes.erase(attributes.begin() + static_cast<std::ptrdiff_t>(index));
  } else {
    attributes[index].second = AnyOf(mGrammar.mValues);
  }
}

void Fuzz_DocumentMutator::SwapAttributes(const Elements& iElements) {
  auto& attributes = AnyOf(iElements)->mAttributes;
  if (attributes.size() > 1) std::swap(AnyOf(attributes), attributes.front());
}

// Gives an attribute the value that another element has in one: so references find what they name.
void Fuzz_DocumentMutator::ReferTo(const Elements& iElements) {
  auto& from = AnyOf(iElements)->mAttributes;
  auto& to = AnyOf(iElements)->mAttributes;
  if (!from.empty() && !to.empty()) AnyOf(to).second = std::string(AnyOf(from).second);
}

void Fuzz_DocumentMutator::AddText(const Elements& iElements) {
  Fuzz_Node text;
  text.mText = AnyOf(mGrammar.mTexts);
  Insert(*AnyOf(iElements), std::move(text));
}

// ---- helpers ----

const Fuzz_ElementRule* Fuzz_DocumentMutator::RuleOf(std::string_view iName) const {
  const auto found = std::find_if(mGrammar.mRules.begin(), mGrammar.mRules.end(),
                                  [&](const Fuzz_ElementRule& iRule) { return iRule.mName == iName; });
  return found == mGrammar.mRules.end() ? nullptr : &*found;
}

// With all its attributes, mostly.
Fuzz_Node Fuzz_DocumentMutator::MakeElement(std::string_view iName) {
  Fuzz_Node element;
  element.mName = iName;
  const Fuzz_ElementRule* ruleP = RuleOf(iName);
  if (!ruleP) return element;
  for (const std::string_view attribute : ruleP->mAttributes) {
    if (Below(16) != 0) element.mAttributes.emplace_back(attribute, AnyOf(mGrammar.mValues));
  }
  return element;
}

void Fuzz_DocumentMutator::Insert(Fuzz_Node& ioParent, Fuzz_Node iChild) {
  auto& children = ioParent.mChildren;
  children.insert(children.begin() + static_cast<std::ptrdiff_t>(Below(children.size() + 1)),
                  std::move(iChild));
}

// ---- what libFuzzer asks for ----

std::size_t Fuzz_MutateDocument(const Fuzz_Grammar& iGrammar, std::uint8_t* ioDataP, std::size_t iSize,
                                std::size_t iMaxSize, unsigned iSeed,
                                std::size_t (*iMutateBytes)(std::uint8_t*, std::size_t, std::size_t)) {
  if (iSize == 0 || iMaxSize == 0 || iSeed % 5 == 0) return iMutateBytes(ioDataP, iSize, iMaxSize);
  Fuzz_Node document = Fuzz_TakeApart({reinterpret_cast<const char*>(ioDataP), iSize - 1});
  Fuzz_DocumentMutator mutator(iGrammar, iSeed);
  for (unsigned change = 0; change <= iSeed % 3; ++change) mutator.Change(document);
  const std::string text = Fuzz_PutTogether(document);
  if (text.size() >= iMaxSize) return iMutateBytes(ioDataP, iSize, iMaxSize);
  const std::uint8_t choice = ioDataP[iSize - 1];
  std::memcpy(ioDataP, text.data(), text.size());
  ioDataP[text.size()] = choice;
  return text.size() + 1;
}

std::size_t Fuzz_CrossDocuments(const Fuzz_Grammar& iGrammar, std::string_view iFirst,
                                std::string_view iSecond, std::uint8_t* oDataP, std::size_t iMaxSize,
                                unsigned iSeed) {
  if (iFirst.empty() || iSecond.empty()) return 0;
  Fuzz_Node document = Fuzz_TakeApart(iFirst.substr(0, iFirst.size() - 1));
  Fuzz_Node other = Fuzz_TakeApart(iSecond.substr(0, iSecond.size() - 1));
  Fuzz_DocumentMutator(iGrammar, iSeed).Cross(document, other);
  std::string text = Fuzz_PutTogether(document);
  text += iFirst.back();
  if (text.size() > iMaxSize) return 0;
  std::memcpy(oDataP, text.data(), text.size());
  return text.size();
}

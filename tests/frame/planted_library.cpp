// SPDX-License-Identifier: MIT
/// \file
/// One exported name of each kind, for the test of the list of exported names.
#include <string>
#include <vector>

#define PLANTED __attribute__((visibility("default")))

PLANTED int gPlantedVariable = 1;
PLANTED int PlantedFunction(const std::vector<std::string>& iTexts);
PLANTED int PlantedFunction(const std::vector<std::string>& iTexts) {
  return static_cast<int>(iTexts.size());
}

class PLANTED PlantedTable {
 public:
  virtual ~PlantedTable();
};
PlantedTable::~PlantedTable() = default;

struct PLANTED PlantedOperators {
  bool operator()(int iValue) const;
  explicit operator bool() const;
  int mValue = 0;
};
bool PlantedOperators::operator()(int iValue) const { return iValue == mValue; }
PlantedOperators::operator bool() const { return mValue != 0; }

PLANTED bool operator==(const PlantedOperators& iLeft, const PlantedOperators& iRight);
bool operator==(const PlantedOperators& iLeft, const PlantedOperators& iRight) {
  return iLeft.mValue == iRight.mValue;
}

template <class T>
struct PLANTED PlantedTemplate {
  std::vector<T> Make(const T& iValue) const;
};
template <class T>
std::vector<T> PlantedTemplate<T>::Make(const T& iValue) const {
  return {iValue};
}
template struct PlantedTemplate<int>;

namespace planted {
PLANTED void Function();
void Function() {}
struct PLANTED Nested {
  struct PLANTED Inner {
    int Get() const;
  };
  static int& Value();
};
int Nested::Inner::Get() const { return Value(); }
int& Nested::Value() {
  static int sValue = PlantedFunction({});
  return sValue;
}
}  // namespace planted

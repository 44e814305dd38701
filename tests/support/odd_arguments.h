// The arguments of one call that no program would make: values of every type, by value and by
// reference to any depth, null references, arrays of odd bounds, records, and objects whose values
// change the caller's variables while they are read.
#pragma once

#include <deque>
#include <random>
#include <vector>

#include "support/com.h"

using Random = std::mt19937;

// What a caller refers to: a VARIANT, or the content of one for a typed reference.
struct OddVariable {
  VARIANT content, before;
  size_t argument;
  bool isTyped;
  bool isTouched;  // by foreign code
};

class OddArguments {
 public:
  // Some of the objects among the arguments are these.
  OddArguments(Random& random, size_t count, std::vector<IDispatch*> known);
  OddArguments(const OddArguments&) = delete;
  OddArguments& operator=(const OddArguments&) = delete;
  ~OddArguments();

  // In the order of a call, the last one first.
  std::vector<VARIANT> list;

  // Whether an argument, and all that it refers to, is what it was, but for what foreign code did.
  bool isUntouched(size_t argument) const;

 private:
  long upTo(long most);
  template <class T, size_t n>
  T oneOf(const T (&choices)[n]) {
    return choices[upTo(n - 1)];
  }
  VARIANT argument(int depth);
  VARIANT referenceTo(VARIANT content, bool isTyped);
  VARIANT value(int depth);
  VARIANT number();
  VARIANT text();
  VARIANT object();
  VARIANT array(int depth);
  VARIANT record();
  VARIANT oddity();
  void touchVariables();

  Random& random_;
  const std::vector<IDispatch*> known_;
  size_t current_ = 0;
  std::deque<OddVariable> variables_;
  std::vector<VARIANT> before_;
  VersionStampRecord record_{1, 2, 3, 0};
};

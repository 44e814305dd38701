// The other one of two cooperating programs: finds the calculator by the tag of its window, sends
// it texts, and gets its answers.
//
// To run it: ./dev demo, or start calculator.exe first.
#include <cstdio>

#include "application.h"

int main() {
  Application customer(L"Customer");
  const LONG calculator = customer.find(L"Calculator", 20'000);
  if (!calculator) {
    std::fputs("no calculator is running\n", stderr);
    return 1;
  }
  customer.onMessage = [&](LONG number, const std::string& text) {
    customer.print("is answered " + std::to_string(number) + " \"" + text + "\"");
  };
  LONG number = 0;
  for (const wchar_t* const text : {L"a tagged window", L"WM_COPYDATA", L""}) {
    customer.send(calculator, ++number, text);
  }
  customer.send(calculator, 0, L"");
}

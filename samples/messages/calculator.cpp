// One of two cooperating programs: waits for texts, answers each with its length, and ends when it
// is told to.
//
// To run it: ./dev demo, or start it and then customer.exe.
#include "application.h"

int main() {
  Application calculator(L"Calculator");
  calculator.onMessage = [&](LONG number, const std::string& text) {
    if (number == 0) {
      calculator.print("is told to end");
      PostQuitMessage(0);
      return;
    }
    calculator.print("gets " + std::to_string(number) + " \"" + text + "\"");
    // The customer still waits in its own SendData, and takes the answer there.
    if (const LONG customer = calculator.find(L"Customer", 1'000)) {
      calculator.send(customer, number, std::to_wstring(text.size()) + L" letters");
    }
  };
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

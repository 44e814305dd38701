// A key in the form in which it is hashed, compared and stored.
//
// Two different texts of one length are equal to VarBstrCmp only through characters that the
// language ignores, folds or composes. The provable characters are those for which that cannot
// happen, wherever they stand: a text that is made of them alone is equal to another such text when
// all code units are the same, and never otherwise. tests/key_index_test.cpp holds the set against
// the platform. Control characters are not in it, as some versions of Windows ignore them; nor are
// capital letters while case is ignored.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <memory>

namespace zsupport {

constexpr bool isProvable(OLECHAR character, bool ignoringCase) {
  return character >= L' ' && character <= L'~' &&
         !(ignoringCase && character >= L'A' && character <= L'Z');
}

// A text with half a character at its end is not provable.
bool isProvable(const OLECHAR* text, UINT bytes, bool ignoringCase);

// Whether the user's language leaves the provable characters alone.
bool isProvableLanguage();

// The key itself, or a copy: in lower case, or ended properly. Short copies take no memory.
class KeyText {
 public:
  KeyText(OLECHAR* key, bool lowered);
  KeyText(const KeyText&) = delete;
  KeyText& operator=(const KeyText&) = delete;

  // For the platform, which gets a text and never null.
  BSTR get() const { return text_; }
  UINT bytes() const { return bytes_; }
  UINT length() const { return bytes_ / sizeof(OLECHAR); }

 private:
  // The last character of a text with an odd number of bytes is half in it, and has to end, too.
  static constexpr UINT kTerminator = 2 * sizeof(OLECHAR), kRoom = 160;

  OLECHAR* makeCopy(const OLECHAR* key);
  void lower(const OLECHAR* key);

  OLECHAR* text_;
  UINT bytes_;
  alignas(UINT) std::array<std::byte, sizeof(UINT) + kRoom + kTerminator> room_;
  std::unique_ptr<std::byte[]> larger_;
};

}  // namespace zsupport

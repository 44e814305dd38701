#include "collection/key_text.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace zsupport {

bool isProvable(const OLECHAR* text, UINT bytes, bool ignoringCase) {
  return bytes % sizeof(OLECHAR) == 0 &&
         std::all_of(text, text + bytes / sizeof(OLECHAR), [ignoringCase](OLECHAR character) {
           return isProvable(character, ignoringCase);
         });
}

bool isProvableLanguage() {
  // Hungarian writes a doubled consonant of several letters in short, "ddzs" for "dzsdzs", and both
  // are equal; so two texts of one length may be.
  return PRIMARYLANGID(GetUserDefaultLangID()) != LANG_HUNGARIAN;
}

KeyText::KeyText(OLECHAR* key, bool lowered)
    : text_(key ? key : const_cast<OLECHAR*>(L"")), bytes_(SysStringByteLen(key)) {
  if (lowered) {
    bytes_ = length() * sizeof(OLECHAR);
    lower(key);
  } else if (bytes_ % sizeof(OLECHAR) != 0) {
    text_ = makeCopy(key);
  }
}

OLECHAR* KeyText::makeCopy(const OLECHAR* key) {
  std::byte* block = room_.data();
  if (bytes_ > kRoom) {
    larger_ = std::make_unique_for_overwrite<std::byte[]>(sizeof(UINT) + bytes_ + kTerminator);
    block = larger_.get();
  }
  std::memcpy(block, &bytes_, sizeof bytes_);
  block += sizeof bytes_;
  if (bytes_ > 0) std::memcpy(block, key, bytes_);
  std::memset(block + bytes_, 0, kTerminator);
  return reinterpret_cast<OLECHAR*>(block);
}

// For the characters of ASCII the platform's lower case is the plain one in every language.
void KeyText::lower(const OLECHAR* key) {
  text_ = makeCopy(key);
  const UINT count = length();
  UINT bits = 0;
  for (UINT i = 0; i < count; ++i) {
    const OLECHAR character = text_[i];
    bits |= character;
    if (character >= L'A' && character <= L'Z') text_[i] = character | 0x20;
  }
  const auto size = static_cast<int>(count);
  if (bits > 0x7F &&
      LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, key, size, text_, size) != size) {
    throw std::bad_alloc();
  }
}

}  // namespace zsupport

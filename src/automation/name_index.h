// Finding an entry of a small constant table by a hash, and names without regard to case.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <optional>

namespace zsupport {

// The places of a table's entries: open addressing, filled by the compiler and never full, so that
// a search ends. Entries of one hash are found in the order in which they were added.
class PlaceIndex {
 public:
  consteval void add(size_t hash, size_t place) {
    size_t slot = hash % kSlots;
    while (places_[slot] != 0) slot = (slot + 1) % kSlots;
    if (++count_ > kSlots / 2) throw "too many entries";
    places_[slot] = static_cast<unsigned char>(place + 1);
  }

  // The first place of that hash that isWanted.
  template <class Predicate>
  constexpr std::optional<size_t> find(size_t hash, Predicate&& isWanted) const {
    for (size_t slot = hash % kSlots; places_[slot] != 0; slot = (slot + 1) % kSlots) {
      const size_t place = places_[slot] - 1u;
      if (isWanted(place)) return place;
    }
    return std::nullopt;
  }

 private:
  static constexpr size_t kSlots = 128;
  std::array<unsigned char, kSlots> places_{};  // plus one; 0: free
  size_t count_ = 0;
};

// Of names in ASCII, which all of ours are; most callers write them as they are declared.
constexpr wchar_t lowerCase(wchar_t letter) {
  return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter + (L'a' - L'A')) : letter;
}
constexpr size_t hashOfName(const wchar_t* name) {
  size_t hash = 0;
  while (*name) hash = std::rotl(hash, 5) ^ lowerCase(*name++);
  return hash ^ hash >> 7;
}
constexpr bool isSameName(const wchar_t* one, const wchar_t* other) {
  while (*one == *other || lowerCase(*one) == lowerCase(*other)) {
    if (*one == 0) return true;
    ++one, ++other;
  }
  return false;
}

}  // namespace zsupport

// The oracle of the key index: what a walk of the chains with the platform's comparison finds.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ZSupport.h"
#include "automation/text.h"
#include "collection/key_node.h"

// The chains as they are described, and nothing in front of them.
class PlainChains {
 public:
  explicit PlainChains(LONG mode) : mode_(mode) {}

  zsupport::ItemRecord* find(const std::string& key) {
    const auto at = search(key);
    return at.first->second.size() == at.second ? nullptr : at.first->second[at.second].record;
  }
  void enter(const std::string& key, zsupport::ItemRecord* record) {
    search(key).first->second.push_back({normalised(key), record});
  }
  void remove(const zsupport::ItemRecord* record) {
    for (auto& [hash, chain] : chains_) {
      std::erase_if(chain, [record](const Entry& entry) { return entry.record == record; });
    }
  }

 private:
  struct Entry {
    zsupport::Text key;
    zsupport::ItemRecord* record;
  };

  // An odd byte is the lower half of a last character to the hash.
  zsupport::Text normalised(const std::string& bytes) const {
    auto key = bytes;
    if (mode_ == CompareText) key.resize(key.size() / 2 * 2);
    zsupport::Text text;
    *text.inout() = SysAllocStringByteLen(nullptr, static_cast<UINT>(key.size() + 4));
    std::memset(text.get(), 0, key.size() + 4);
    std::memcpy(text.get(), key.data(), key.size());
    reinterpret_cast<UINT*>(text.get())[-1] = static_cast<UINT>(key.size());
    if (const int size = static_cast<int>(key.size() / 2); mode_ == CompareText && size > 0) {
      const std::wstring source(text.get(), static_cast<size_t>(size));
      LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, source.c_str(), size, text.get(), size);
    }
    return text;
  }
  std::pair<std::map<LONG, std::vector<Entry>>::iterator, size_t> search(const std::string& key) {
    const zsupport::Text sought = normalised(key);
    const auto hash = static_cast<LONG>(LHashValOfNameSys(SYS_WIN16, 0, sought.get()));
    const auto at = chains_.try_emplace(hash % zsupport::kChains).first;
    size_t place = 0;
    for (; place < at->second.size(); ++place) {
      const zsupport::Text& stored = at->second[place].key;
      if (SysStringLen(stored.get()) == SysStringLen(sought.get()) &&
          VarBstrCmp(sought.get(), stored.get(), LOCALE_USER_DEFAULT,
                     mode_ == CompareText ? NORM_IGNORECASE : 0) == VARCMP_EQ) {
        break;
      }
    }
    return {at, place};
  }

  LONG mode_;
  std::map<LONG, std::vector<Entry>> chains_;
};

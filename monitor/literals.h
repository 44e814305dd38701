// Values as a person writes and reads them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "com.h"

namespace monitor {

// Values between commas: 5, -1.5, &HFF, "a ""quoted"" text", True, #2026-01-31 14:05#, Empty, Null,
// Nothing. Throws a Failure on anything else.
std::vector<_variant_t> readLiterals(std::wstring_view text);

// A value and its type: True (Boolean). Of a long text or array, the beginning and what there is in
// all; an object with the name of its class.
std::wstring describe(const VARIANT& value);

// Of an array of variants with one dimension: True (Boolean), 5 (Long)
std::wstring describeElements(SAFEARRAY* values);

// What an object's type information calls it; empty when it has none.
std::wstring typeNameOf(IUnknown* object);

}  // namespace monitor

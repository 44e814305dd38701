// Rows as text for other programs.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "columns.h"
#include "row.h"

namespace monitor {

enum class TextForm { kTabs, kCommas };

std::wstring headLine(const std::vector<Column>& columns, TextForm form);
std::wstring rowLine(const Row& row, size_t columns, TextForm form);

// In UTF-8; values between commas where the path ends in .csv, else between tabs. Throws a Failure.
void saveRows(const std::wstring& path, const std::vector<Column>& columns, size_t count,
              const std::function<const Row&(size_t)>& row);

void putOnClipboard(HWND owner, const std::wstring& text);

}  // namespace monitor

// Columns of a list control: made, sized for the screen, and remembered.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <string>
#include <vector>

namespace monitor {

struct Column {
  const wchar_t* name;
  int width;  // at 96 dots per inch
};

void insertColumns(HWND list, const std::vector<Column>& columns);
void scaleColumns(HWND list, int dpiBefore, int dpi);

// An arrow in the head of a column; none with -1.
void markSorted(HWND list, int column, bool isDescending);

// Their widths at 96 dots per inch, and their order. What is no such text changes nothing.
std::wstring columnState(HWND list, int dpi);
void restoreColumns(HWND list, const std::wstring& state, int dpi);

}  // namespace monitor

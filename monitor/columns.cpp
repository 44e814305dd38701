#include "columns.h"

#include <algorithm>
#include <sstream>

namespace monitor {
namespace {

int countColumns(HWND list) { return Header_GetItemCount(ListView_GetHeader(list)); }

}  // namespace

void insertColumns(HWND list, const std::vector<Column>& columns) {
  int number = 0;
  for (const Column& each : columns) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = const_cast<wchar_t*>(each.name);
    column.cx = each.width;
    ListView_InsertColumn(list, number++, &column);
  }
}

void scaleColumns(HWND list, int dpiBefore, int dpi) {
  for (int i = 0; i < countColumns(list); ++i) {
    ListView_SetColumnWidth(list, i, MulDiv(ListView_GetColumnWidth(list, i), dpi, dpiBefore));
  }
}

void markSorted(HWND list, int column, bool isDescending) {
  const HWND header = ListView_GetHeader(list);
  for (int i = 0; i < countColumns(list); ++i) {
    HDITEMW item{};
    item.mask = HDI_FORMAT;
    Header_GetItem(header, i, &item);
    item.fmt &= ~(HDF_SORTUP | HDF_SORTDOWN);
    if (i == column) item.fmt |= isDescending ? HDF_SORTDOWN : HDF_SORTUP;
    Header_SetItem(header, i, &item);
  }
}

std::wstring columnState(HWND list, int dpi) {
  std::vector<int> order(static_cast<size_t>(countColumns(list)));
  ListView_GetColumnOrderArray(list, static_cast<int>(order.size()), order.data());
  std::wostringstream text;
  for (size_t i = 0; i < order.size(); ++i) {
    const int width = ListView_GetColumnWidth(list, static_cast<int>(i));
    text << MulDiv(width, 96, dpi) << L' ' << order[i] << L' ';
  }
  return text.str();
}

void restoreColumns(HWND list, const std::wstring& state, int dpi) {
  std::wistringstream text(state);
  std::vector<int> widths(static_cast<size_t>(countColumns(list))), order(widths.size());
  for (size_t i = 0; i < widths.size(); ++i) {
    if (!(text >> widths[i] >> order[i]) || widths[i] < 0 || widths[i] > 5000) return;
  }
  std::vector<int> sorted = order;
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 0; i < sorted.size(); ++i) {
    if (sorted[i] != static_cast<int>(i)) return;
  }
  for (size_t i = 0; i < widths.size(); ++i) {
    ListView_SetColumnWidth(list, static_cast<int>(i), MulDiv(widths[i], dpi, 96));
  }
  ListView_SetColumnOrderArray(list, static_cast<int>(order.size()), order.data());
}

}  // namespace monitor

// A list of rows with a filter above it and the whole of the chosen row below it: what both views
// are made of. The list asks for the cells that it paints, so its length does not matter.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "columns.h"
#include "row_list.h"

namespace monitor {

class ListPane {
 public:
  // name: what its list is called. whole: the text of a row's details.
  ListPane(HWND parent, const wchar_t* name, std::vector<Column> columns,
           std::function<std::wstring(const Row&)> whole);

  // Rows stand in the list within a tenth of a second; show does it now, if there are any.
  void add(std::vector<Row> rows, size_t lost = 0);
  void show();
  void showWhenDue();

  // While it is held, new rows wait.
  void setHeld(bool held);
  bool isHeld() const { return isHeld_; }
  void clear();
  void removeIf(const std::function<bool(const Row&)>& condition);
  // Those that wait, too.
  void forEach(const std::function<void(const Row&)>& use) const {
    rows_.forEach(use);
    waiting_.forEach(use);
  }

  // "1,234 of 5,678 shown", and what waits.
  std::wstring counts() const;

  void copySelection() const;
  void selectAll();
  // All rows that are shown; as values between commas where the path ends in .csv, else between
  // tabs. Throws a Failure.
  void save(const std::wstring& path) const;

  const std::vector<Column>& columns() const { return columns_; }
  // By the column, upwards; the same one again, downwards; and then again as rows came.
  void sortBy(int column);

  void place(const RECT& area);
  void setFont(HFONT font, int dpi);
  HWND list() const { return list_; }
  void focusFilter() const { SetFocus(filter_); }

  // From the parent's window procedure; an answer where there is one to give.
  std::optional<LRESULT> notified(NMHDR* header);
  bool commanded(HWND control, WORD code);
  void systemColoursChanged();

  std::wstring state() const { return columnState(list_, dpi_); }
  void restore(const std::wstring& state) { restoreColumns(list_, state, dpi_); }

 private:
  static LRESULT CALLBACK detailsProcedure(HWND details, UINT message, WPARAM wParam, LPARAM lParam,
                                           UINT_PTR id, DWORD_PTR data);
  void fillCell(LVITEMW& item) const;
  LRESULT paint(NMLVCUSTOMDRAW& draw) const;
  LRESULT find(const NMLVFINDITEMW& wanted) const;
  std::optional<RowId> chosen() const;
  void showDetails();
  std::vector<std::pair<size_t, RowId>> chosenRows() const;
  void chooseAgain(const std::vector<std::pair<size_t, RowId>>& rows, bool wereAll);
  void reorder(const std::function<void()>& change, bool isForUser);
  void refreshCount(bool follow);
  bool isAtEnd() const;
  int scaled(int pixels) const { return MulDiv(pixels, dpi_, 96); }

  const std::vector<Column> columns_;
  const std::function<std::wstring(const Row&)> whole_;
  RowList rows_;
  RowBuffer waiting_;
  size_t lost_ = 0;
  std::optional<RowId> detailed_;  // the row whose details are shown
  bool isReordering_ = false;
  ULONGLONG lastShown_ = 0;
  bool isHeld_ = false;
  bool isHighContrast_ = false;
  int dpi_ = 96;
  HWND filterLabel_, filter_, listLabel_, list_, detailsLabel_, details_;
};

}  // namespace monitor

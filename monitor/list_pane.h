// A list of rows with a filter above it and the whole of the chosen row below it: what both views
// are made of. The list asks for the cells that it paints, so its length does not matter.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "row_list.h"

namespace monitor {

struct Column {
  const wchar_t* name;
  int width;  // at 96 dots per inch
};

class ListPane {
 public:
  // name: what its size is remembered under. whole: the text of a row's details.
  ListPane(HWND parent, const wchar_t* name, std::vector<Column> columns,
           std::function<std::wstring(const Row&)> whole);

  // Rows stand in the list within a tenth of a second; show does it now, if there are any.
  void add(std::vector<Row> rows);
  void show();
  void showWhenDue();

  // While it is held, new rows wait.
  void setHeld(bool held);
  bool isHeld() const { return isHeld_; }
  void clear();

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

  std::wstring state() const;
  void restore(const std::wstring& state);

 private:
  void fillCell(LVITEMW& item) const;
  LRESULT paint(NMLVCUSTOMDRAW& draw) const;
  void showDetails();
  void reorder(const std::function<void()>& change);
  void refreshCount(bool follow);
  bool isAtEnd() const;
  int scaled(int pixels) const { return MulDiv(pixels, dpi_, 96); }
  std::wstring line(const Row& row, bool isCsv) const;
  std::wstring head(bool isCsv) const;

  const std::wstring name_;
  const std::vector<Column> columns_;
  const std::function<std::wstring(const Row&)> whole_;
  RowList rows_;
  std::vector<Row> waiting_;
  ULONGLONG lastShown_ = 0;
  bool isHeld_ = false;
  bool isHighContrast_ = false;
  int dpi_ = 96;
  HWND filterLabel_, filter_, list_, details_;
};

}  // namespace monitor

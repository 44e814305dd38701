#include "list_pane.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "ZSupport.h"
#include "controls.h"
#include "failure.h"
#include "saved_rows.h"
#include "text.h"

namespace monitor {
namespace {

constexpr ULONGLONG kShowEvery = 100;  // milliseconds
constexpr int kDetailsShare = 3;       // the details take a third

COLORREF colourOf(Kind kind) {
  switch (kind) {
    case Kind::kError:
      return ezcRed;
    case Kind::kRunTimeError:
      return ezcOrange;
    case Kind::kDamaged:
      return ezcYellow;
    case Kind::kInformation:
      return ezcGreen;
    case Kind::kEvent:
      return ezcBlue;
    default:
      return ezcWhite;
  }
}

bool isHighContrastOn() {
  HIGHCONTRASTW setting{};
  setting.cbSize = sizeof setting;
  return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof setting, &setting, 0) &&
         (setting.dwFlags & HCF_HIGHCONTRASTON);
}

// A control of the platform takes many seconds for a line of a hundred thousand characters, and
// ends at the first NUL.
std::wstring inLines(const std::wstring& text) {
  constexpr size_t longest = 1'000;
  constexpr wchar_t kPictureOfNul = 0x2400;
  std::wstring lines;
  size_t length = 0;
  wchar_t before = 0;
  for (const wchar_t c : text) {
    if (c == L'\n' && before != L'\r') lines += L'\r';
    before = c;
    if (++length > longest && !IS_LOW_SURROGATE(c)) {
      lines += L"\r\n";
      length = 1;
    }
    if (c == L'\n') length = 0;
    lines += c ? c : kPictureOfNul;
  }
  return lines;
}

}  // namespace

ListPane::ListPane(HWND parent, const wchar_t* name, std::vector<Column> columns,
                   std::function<std::wstring(const Row&)> whole)
    : columns_(std::move(columns)),
      whole_(std::move(whole)),
      rows_(columns_.size()),
      filterLabel_(makeControl(parent, WC_STATICW, L"Fi&lter:", 0)),
      filter_(makeControl(parent, WC_EDITW, L"", WS_TABSTOP | ES_AUTOHSCROLL, WS_EX_CLIENTEDGE)),
      // Without a size: screen readers and keys find the list and the details by them.
      listLabel_(makeControl(parent, WC_STATICW, name, 0)),
      list_(makeControl(parent, WC_LISTVIEWW, name,
                        WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS,
                        WS_EX_CLIENTEDGE)),
      detailsLabel_(makeControl(parent, WC_STATICW, L"&Details", 0)),
      details_(makeControl(parent, WC_EDITW, L"",
                           WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL,
                           WS_EX_CLIENTEDGE)) {
  SendMessageW(details_, EM_SETLIMITTEXT, 0, 0);
  SetWindowSubclass(details_, detailsProcedure, 1, 0);
  ListView_SetExtendedListViewStyle(
      list_, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_HEADERDRAGDROP | LVS_EX_LABELTIP);
  insertColumns(list_, columns_);
  systemColoursChanged();
}

// An edit of many lines takes Tab and Esc for itself; this one is only read.
LRESULT CALLBACK ListPane::detailsProcedure(HWND details, UINT message, WPARAM wParam,
                                            LPARAM lParam, UINT_PTR, DWORD_PTR) {
  if (message == WM_GETDLGCODE) return DLGC_HASSETSEL | DLGC_WANTARROWS;
  return DefSubclassProc(details, message, wParam, lParam);
}

void ListPane::add(std::vector<Row> rows, size_t lost) {
  lost_ += lost;
  waiting_.add(std::move(rows));
}

void ListPane::showWhenDue() {
  if (GetTickCount64() - lastShown_ >= kShowEvery) show();
}

void ListPane::show() {
  if (isHeld_ || waiting_.empty()) return;
  const bool isSorted = rows_.order().column >= 0;
  const bool follow = isAtEnd() && !isSorted;
  lost_ += waiting_.lost();
  const bool mayMove = isSorted || rows_.size() + waiting_.size() > kMostRows ||
                       rows_.text() + waiting_.text() > kMostText;
  if (mayMove) {
    reorder([this] { rows_.add(waiting_.take()); }, false);
  } else {
    rows_.add(waiting_.take());
  }
  refreshCount(follow);
  UpdateWindow(list_);
  lastShown_ = GetTickCount64();
}

void ListPane::setHeld(bool held) {
  isHeld_ = held;
  show();
}

void ListPane::clear() {
  lost_ = 0;
  removeIf([](const Row&) { return true; });
}

void ListPane::removeIf(const std::function<bool(const Row&)>& condition) {
  ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
  rows_.removeIf(condition);
  waiting_.removeIf(condition);
  refreshCount(false);
  showDetails();
}

std::wstring ListPane::counts() const {
  std::wstring text = rows_.shown() == rows_.size()
                          ? countText(rows_.size()) + L" rows"
                          : countText(rows_.shown()) + L" of " + countText(rows_.size()) + L" rows";
  if (isHeld_) text += L", held: " + countText(waiting_.size()) + L" waiting";
  if (const size_t lost = lost_ + waiting_.lost()) text += L", " + countText(lost) + L" lost";
  return text;
}

void ListPane::refreshCount(bool follow) {
  ListView_SetItemCountEx(list_, rows_.shown(), LVSICF_NOSCROLL);
  if (follow && rows_.shown())
    ListView_EnsureVisible(list_, static_cast<int>(rows_.shown()) - 1, FALSE);
}

bool ListPane::isAtEnd() const {
  const int last = ListView_GetTopIndex(list_) + ListView_GetCountPerPage(list_);
  return last >= static_cast<int>(rows_.shown());
}

std::optional<RowId> ListPane::chosen() const {
  const int place = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  if (place < 0 || static_cast<size_t>(place) >= rows_.shown()) return {};
  return rows_.idAt(static_cast<size_t>(place));
}

std::vector<std::pair<size_t, RowId>> ListPane::chosenRows() const {
  std::vector<std::pair<size_t, RowId>> rows;
  for (int i = -1; (i = ListView_GetNextItem(list_, i, LVNI_SELECTED)) >= 0;) {
    const size_t place = static_cast<size_t>(i);
    if (place < rows_.shown()) rows.emplace_back(place, rows_.idAt(place));
  }
  return rows;
}

// Unless they stand where they stood.
void ListPane::chooseAgain(const std::vector<std::pair<size_t, RowId>>& rows, bool wereAll) {
  const bool haveMoved = std::any_of(rows.begin(), rows.end(), [this](const auto& row) {
    return row.first >= rows_.shown() || rows_.idAt(row.first) != row.second;
  });
  if (!haveMoved && !wereAll) return;
  ListView_SetItemState(list_, -1, wereAll ? LVIS_SELECTED : 0, LVIS_SELECTED);
  if (wereAll) return;
  std::vector<RowId> ids;
  for (const auto& [place, id] : rows) ids.push_back(id);
  std::sort(ids.begin(), ids.end());
  for (size_t i = 0; i < rows_.shown(); ++i) {
    if (std::binary_search(ids.begin(), ids.end(), rows_.idAt(i))) {
      ListView_SetItemState(list_, static_cast<int>(i), LVIS_SELECTED, LVIS_SELECTED);
    }
  }
}

// Rows that are chosen stay chosen, wherever they come to stand. What the user changes shows the
// one that has the focus.
void ListPane::reorder(const std::function<void()>& change, bool isForUser) {
  const std::optional<RowId> focused = chosen();
  const size_t before = rows_.shown();
  const bool wereAll = before > 1 && ListView_GetSelectedCount(list_) == before;
  const auto selected = wereAll ? std::vector<std::pair<size_t, RowId>>() : chosenRows();
  isReordering_ = true;
  change();
  refreshCount(false);
  chooseAgain(selected, wereAll);
  if (focused != chosen()) {
    const size_t place = focused ? rows_.placeOf(*focused) : RowList::npos;
    const bool isShown = place != RowList::npos;
    ListView_SetItemState(list_, isShown ? static_cast<int>(place) : -1, isShown ? LVIS_FOCUSED : 0,
                          LVIS_FOCUSED);
    if (isShown && isForUser) ListView_EnsureVisible(list_, static_cast<int>(place), FALSE);
  }
  isReordering_ = false;
  InvalidateRect(list_, nullptr, FALSE);
  showDetails();
}

void ListPane::sortBy(int column) {
  RowList::Order order = rows_.order();
  if (order.column != column) {
    order = {column, false};
  } else if (!order.isDescending) {
    order.isDescending = true;
  } else {
    order = {};
  }
  reorder([&] { rows_.setOrder(order); }, true);
  markSorted(list_, order.column, order.isDescending);
}

void ListPane::showDetails() {
  const std::optional<RowId> id = chosen();
  if (isReordering_ || id == detailed_) return;
  detailed_ = id;
  const int place = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  const std::wstring text =
      id ? inLines(whole_(rows_.at(static_cast<size_t>(place)))) : std::wstring();
  SetWindowTextW(details_, text.c_str());
}

void ListPane::fillCell(LVITEMW& item) const {
  if (!(item.mask & LVIF_TEXT) || item.cchTextMax <= 0) return;
  *item.pszText = L'\0';
  if (static_cast<size_t>(item.iItem) >= rows_.shown()) return;
  const Row& row = rows_.at(static_cast<size_t>(item.iItem));
  const std::wstring_view cell = row.cell(static_cast<size_t>(item.iSubItem));
  const std::wstring shown = onOneLine(cell.substr(0, static_cast<size_t>(item.cchTextMax) - 1));
  lstrcpynW(item.pszText, shown.c_str(), item.cchTextMax);
}

LRESULT ListPane::paint(NMLVCUSTOMDRAW& draw) const {
  if (draw.nmcd.dwDrawStage == CDDS_PREPAINT) {
    return isHighContrast_ ? CDRF_DODEFAULT : CDRF_NOTIFYITEMDRAW;
  }
  const size_t place = draw.nmcd.dwItemSpec;
  if (draw.nmcd.dwDrawStage == CDDS_ITEMPREPAINT && place < rows_.shown()) {
    draw.clrText = RGB(0, 0, 0);
    draw.clrTextBk = colourOf(rows_.at(place).kind());
    return CDRF_NEWFONT;
  }
  return CDRF_DODEFAULT;
}

// For letters that are typed into the list: the next row whose first cell begins with them.
LRESULT ListPane::find(const NMLVFINDITEMW& wanted) const {
  if (!(wanted.lvfi.flags & (LVFI_STRING | LVFI_PARTIAL)) || !wanted.lvfi.psz) return -1;
  const std::wstring text = folded(wanted.lvfi.psz);
  const size_t count = rows_.shown(), start = static_cast<size_t>(std::max(wanted.iStart, 0));
  for (size_t i = 0; i < count; ++i) {
    const size_t place = (start + i) % count;
    if (folded(rows_.at(place).cell(0).substr(0, text.size())) == text) {
      return static_cast<LRESULT>(place);
    }
  }
  return -1;
}

std::optional<LRESULT> ListPane::notified(NMHDR* header) {
  if (header->hwndFrom != list_) return {};
  switch (header->code) {
    case LVN_GETDISPINFOW:
      fillCell(reinterpret_cast<NMLVDISPINFOW*>(header)->item);
      return 0;
    case LVN_ODFINDITEMW:
      return find(*reinterpret_cast<NMLVFINDITEMW*>(header));
    case LVN_COLUMNCLICK:
      sortBy(reinterpret_cast<NMLISTVIEW*>(header)->iSubItem);
      return 0;
    case LVN_ITEMCHANGED:
    case LVN_ODSTATECHANGED:
      showDetails();
      return 0;
    case NM_CUSTOMDRAW:
      return paint(*reinterpret_cast<NMLVCUSTOMDRAW*>(header));
    default:
      return {};
  }
}

bool ListPane::commanded(HWND control, WORD code) {
  if (control != filter_ || code != EN_CHANGE) return false;
  reorder([this] { rows_.setFilter(windowText(filter_)); }, true);
  return true;
}

void ListPane::systemColoursChanged() {
  isHighContrast_ = isHighContrastOn();
  SendMessageW(list_, WM_SYSCOLORCHANGE, 0, 0);
  InvalidateRect(list_, nullptr, TRUE);
}

void ListPane::copySelection() const {
  std::wstring text;
  for (int i = -1; (i = ListView_GetNextItem(list_, i, LVNI_SELECTED)) >= 0;) {
    if (static_cast<size_t>(i) < rows_.shown())
      text += rowLine(rows_.at(static_cast<size_t>(i)), columns_.size(), TextForm::kTabs);
  }
  if (text.empty()) throw Failure{L"No row is chosen"};
  putOnClipboard(list_, text);
}

void ListPane::selectAll() {
  SetFocus(list_);
  ListView_SetItemState(list_, -1, LVIS_SELECTED, LVIS_SELECTED);
}

void ListPane::save(const std::wstring& path) const {
  saveRows(path, columns_, rows_.shown(), [this](size_t i) -> const Row& { return rows_.at(i); });
}

void ListPane::place(const RECT& area) {
  const int margin = scaled(6), line = scaled(23), label = scaled(44);
  const int top = area.top + line + margin;
  const int details = (area.bottom - top) / kDetailsShare;
  placeControl(filterLabel_, area.left, area.top + scaled(4), label, line - scaled(4));
  placeControl(filter_, area.left + label, area.top, area.right - area.left - label, line);
  placeControl(list_, area.left, top, area.right - area.left, area.bottom - top - details - margin);
  placeControl(details_, area.left, area.bottom - details, area.right - area.left, details);
}

void ListPane::setFont(HFONT font, int dpi) {
  for (const HWND control : {filterLabel_, filter_, list_, details_}) {
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  }
  scaleColumns(list_, std::exchange(dpi_, dpi), dpi);
}

}  // namespace monitor

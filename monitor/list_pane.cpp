#include "list_pane.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "ZSupport.h"
#include "controls.h"
#include "failure.h"
#include "handle.h"
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

std::wstring csvCell(std::wstring_view text) {
  // What a spreadsheet would take for a formula stays a text.
  const bool isFormula = !text.empty() && std::wstring_view(L"=+-@").find(text[0]) != text.npos;
  std::wstring cell = isFormula ? L"\"'" : L"\"";
  for (const wchar_t c : text) {
    if (c == L'"') cell += c;
    cell += c;
  }
  return cell + L'"';
}

// A control of the platform takes many seconds for a line of a hundred thousand characters.
std::wstring inLines(const std::wstring& text) {
  constexpr size_t longest = 1'000;
  std::wstring lines;
  size_t length = 0;
  for (const wchar_t c : text) {
    if (++length > longest && !IS_LOW_SURROGATE(c)) {
      lines += L"\r\n";
      length = 1;
    }
    if (c == L'\n') length = 0;
    lines += c;
  }
  return lines;
}

void putOnClipboard(HWND owner, const std::wstring& text) {
  if (!OpenClipboard(owner)) throw Failure{L"The clipboard is in use"};
  EmptyClipboard();
  const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
  if (void* const place = memory ? GlobalLock(memory) : nullptr) {
    memcpy(place, text.c_str(), bytes);
    GlobalUnlock(memory);
    if (!SetClipboardData(CF_UNICODETEXT, memory)) GlobalFree(memory);
  }
  CloseClipboard();
  if (!memory) throw std::bad_alloc();
}

}  // namespace

ListPane::ListPane(HWND parent, const wchar_t* name, std::vector<Column> columns,
                   std::function<std::wstring(const Row&)> whole)
    : name_(name),
      columns_(std::move(columns)),
      whole_(std::move(whole)),
      filterLabel_(makeControl(parent, WC_STATICW, L"&Filter:", 0)),
      filter_(makeControl(parent, WC_EDITW, L"", WS_TABSTOP | ES_AUTOHSCROLL, WS_EX_CLIENTEDGE)),
      list_(makeControl(parent, WC_LISTVIEWW, name,
                        WS_TABSTOP | LVS_REPORT | LVS_OWNERDATA | LVS_SHOWSELALWAYS,
                        WS_EX_CLIENTEDGE)),
      details_(makeControl(parent, WC_EDITW, L"",
                           WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL,
                           WS_EX_CLIENTEDGE)) {
  SendMessageW(details_, EM_SETLIMITTEXT, 0, 0);
  ListView_SetExtendedListViewStyle(
      list_, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_HEADERDRAGDROP | LVS_EX_LABELTIP);
  for (size_t i = 0; i < columns_.size(); ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = const_cast<wchar_t*>(columns_[i].name);
    column.cx = columns_[i].width;
    ListView_InsertColumn(list_, static_cast<int>(i), &column);
  }
  systemColoursChanged();
}

void ListPane::add(std::vector<Row> rows) {
  waiting_.insert(waiting_.end(), std::move_iterator(rows.begin()), std::move_iterator(rows.end()));
  // What waits while the list is held is bounded, too.
  if (waiting_.size() > RowList::kMostRows) {
    const auto surplus = static_cast<std::ptrdiff_t>(waiting_.size() - RowList::kMostRows / 2);
    waiting_.erase(waiting_.begin(), waiting_.begin() + surplus);
  }
}

void ListPane::showWhenDue() {
  if (GetTickCount64() - lastShown_ >= kShowEvery) show();
}

void ListPane::show() {
  if (isHeld_ || waiting_.empty()) return;
  const bool follow = isAtEnd() && rows_.order() == RowList::Order();
  const size_t before = rows_.size() + waiting_.size();
  const bool isSorted = rows_.order() != RowList::Order();
  const auto take = [this] { rows_.add(std::exchange(waiting_, {})); };
  if (isSorted || before > RowList::kMostRows) {
    reorder(take);
  } else {
    take();
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
  waiting_.clear();
  rows_.clear();
  ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
  refreshCount(false);
  showDetails();
}

std::wstring ListPane::counts() const {
  std::wstring text = rows_.shown() == rows_.size()
                          ? countText(rows_.size()) + L" rows"
                          : countText(rows_.shown()) + L" of " + countText(rows_.size()) + L" rows";
  if (isHeld_) text += L", held: " + countText(waiting_.size()) + L" waiting";
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

// The chosen row stays chosen, wherever it comes to stand.
void ListPane::reorder(const std::function<void()>& change) {
  const int chosen = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  const bool isChosen = chosen >= 0 && static_cast<size_t>(chosen) < rows_.shown();
  const uint32_t id = isChosen ? rows_.idAt(static_cast<size_t>(chosen)) : 0;
  change();
  ListView_SetItemState(list_, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
  refreshCount(false);
  const size_t place = isChosen ? rows_.placeOf(id) : RowList::npos;
  if (place != RowList::npos) {
    const int index = static_cast<int>(place);
    ListView_SetItemState(list_, index, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list_, index, FALSE);
  }
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
  reorder([&] { rows_.setOrder(order); });
  const HWND header = ListView_GetHeader(list_);
  for (size_t i = 0; i < columns_.size(); ++i) {
    HDITEMW item{};
    item.mask = HDI_FORMAT;
    Header_GetItem(header, static_cast<int>(i), &item);
    item.fmt &= ~(HDF_SORTUP | HDF_SORTDOWN);
    if (static_cast<int>(i) == order.column) {
      item.fmt |= order.isDescending ? HDF_SORTDOWN : HDF_SORTUP;
    }
    Header_SetItem(header, static_cast<int>(i), &item);
  }
}

void ListPane::showDetails() {
  const int chosen = ListView_GetNextItem(list_, -1, LVNI_FOCUSED);
  const bool isChosen = chosen >= 0 && static_cast<size_t>(chosen) < rows_.shown();
  const std::wstring text =
      isChosen ? inLines(whole_(rows_.at(static_cast<size_t>(chosen)))) : std::wstring();
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

std::optional<LRESULT> ListPane::notified(NMHDR* header) {
  if (header->hwndFrom != list_) return {};
  switch (header->code) {
    case LVN_GETDISPINFOW:
      fillCell(reinterpret_cast<NMLVDISPINFOW*>(header)->item);
      return 0;
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
  reorder([this] { rows_.setFilter(windowText(filter_)); });
  return true;
}

void ListPane::systemColoursChanged() {
  isHighContrast_ = isHighContrastOn();
  InvalidateRect(list_, nullptr, TRUE);
}

std::wstring ListPane::line(const Row& row, bool isCsv) const {
  std::wstring text;
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i) text += isCsv ? L',' : L'\t';
    text += isCsv ? csvCell(row.cell(i)) : onOneLine(row.cell(i));
  }
  return text + L"\r\n";
}

std::wstring ListPane::head(bool isCsv) const {
  std::wstring text;
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (i) text += isCsv ? L',' : L'\t';
    text += isCsv ? csvCell(columns_[i].name) : columns_[i].name;
  }
  return text + L"\r\n";
}

void ListPane::copySelection() const {
  std::wstring text;
  for (int i = -1; (i = ListView_GetNextItem(list_, i, LVNI_SELECTED)) >= 0;) {
    if (static_cast<size_t>(i) < rows_.shown())
      text += line(rows_.at(static_cast<size_t>(i)), false);
  }
  if (text.empty()) throw Failure{L"No row is chosen"};
  putOnClipboard(list_, text);
}

void ListPane::selectAll() {
  SetFocus(list_);
  ListView_SetItemState(list_, -1, LVIS_SELECTED, LVIS_SELECTED);
}

void ListPane::save(const std::wstring& path) const {
  const bool isCsv = path.size() > 4 && compareFolded(path.substr(path.size() - 4), L".csv") == 0;
  const Handle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD error = file ? ERROR_SUCCESS : GetLastError();
  const auto write = [&](const std::wstring& text) {
    const std::string bytes = toUtf8(text);
    DWORD written = 0;
    if (!error &&
        !WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
      error = GetLastError();
    }
  };
  std::wstring text = L"\xFEFF" + head(isCsv);
  for (size_t i = 0; i < rows_.shown(); ++i) {
    text += line(rows_.at(i), isCsv);
    if (text.size() > 0x10000) write(std::exchange(text, {}));
  }
  write(text);
  if (error) throw Failure{path + L" cannot be written: " + systemText(error)};
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
  const int before = std::exchange(dpi_, dpi);
  for (const HWND control : {filterLabel_, filter_, list_, details_}) {
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  }
  for (size_t i = 0; i < columns_.size(); ++i) {
    const int column = static_cast<int>(i);
    ListView_SetColumnWidth(list_, column,
                            MulDiv(ListView_GetColumnWidth(list_, column), dpi, before));
  }
}

// The widths of the columns at 96 dots per inch, and their order.
std::wstring ListPane::state() const {
  std::vector<int> order(columns_.size());
  ListView_GetColumnOrderArray(list_, static_cast<int>(order.size()), order.data());
  std::wostringstream text;
  for (size_t i = 0; i < columns_.size(); ++i) {
    text << MulDiv(ListView_GetColumnWidth(list_, static_cast<int>(i)), 96, dpi_) << L' '
         << order[i] << L' ';
  }
  return text.str();
}

void ListPane::restore(const std::wstring& state) {
  std::wistringstream text(state);
  std::vector<int> widths(columns_.size()), order(columns_.size());
  for (size_t i = 0; i < columns_.size(); ++i) {
    if (!(text >> widths[i] >> order[i]) || widths[i] < 0 || widths[i] > 5000) return;
  }
  std::vector<int> sorted = order;
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 0; i < sorted.size(); ++i) {
    if (sorted[i] != static_cast<int>(i)) return;
  }
  for (size_t i = 0; i < widths.size(); ++i) {
    ListView_SetColumnWidth(list_, static_cast<int>(i), scaled(widths[i]));
  }
  ListView_SetColumnOrderArray(list_, static_cast<int>(order.size()), order.data());
}

}  // namespace monitor

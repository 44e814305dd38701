#include "events_view.h"

#include <utility>

#include "controls.h"
#include "event_sources.h"
#include "failure.h"
#include "resource.h"
#include "text.h"

namespace monitor {
namespace {

constexpr UINT kClassesKnown = WM_APP + 1;
constexpr wchar_t kDefaultInterface[] = L"(default)";
constexpr wchar_t kNone[] = L"(none)";

// Calls into objects let messages through: a second request waits its turn.
class OneAtATime {
 public:
  explicit OneAtATime(bool& isBusy) : isBusy_(isBusy) {
    if (isBusy_) throw Failure{L"The last request is still under way"};
    isBusy_ = true;
  }
  OneAtATime(const OneAtATime&) = delete;
  OneAtATime& operator=(const OneAtATime&) = delete;
  ~OneAtATime() { isBusy_ = false; }

 private:
  bool& isBusy_;
};

std::wstring wholeEvent(const Row& row) {
  std::wstring text = std::wstring(row.cell(kEvent)) + L"\r\n";
  text += L"Arguments: " + std::wstring(row.cell(kArguments)) + L"\r\n";
  text += L"Source: " + std::wstring(row.cell(kEventSource)) + L" at position " +
          std::wstring(row.cell(kPosition)) + L" " + std::wstring(row.cell(kEventClass)) + L"\r\n";
  return text + L"Time: " + std::wstring(row.cell(kEventTime)) + L"\r\n";
}

void setCell(HWND list, size_t row, int column, const std::wstring& text) {
  ListView_SetItemText(list, static_cast<int>(row), column, const_cast<wchar_t*>(text.c_str()));
}

void offer(HWND box, const std::wstring& text) {
  SendMessageW(box, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
}

}  // namespace

EventsView::EventsView(HWND parent, const Frame& frame)
    : View(parent, L"Events of objects", frame) {
  const auto make = [this](const wchar_t* type, const wchar_t* text, DWORD style, int id = 0) {
    const bool isSunk = wcscmp(type, WC_EDITW) == 0 || wcscmp(type, WC_LISTVIEWW) == 0;
    controls_.push_back(
        makeControl(window(), type, text, style, isSunk ? WS_EX_CLIENTEDGE : 0, id));
    return controls_.back();
  };
  constexpr DWORD box = WS_TABSTOP | WS_VSCROLL | CBS_AUTOHSCROLL;
  constexpr DWORD edit = WS_TABSTOP | ES_AUTOHSCROLL;
  classLabel_ = make(WC_STATICW, L"&Class:", 0);
  class_ = make(WC_COMBOBOXW, L"", box | CBS_DROPDOWN);
  keyLabel_ = make(WC_STATICW, L"&Key:", 0);
  key_ = make(WC_EDITW, L"", edit);
  interfaceLabel_ = make(WC_STATICW, L"&Interface:", 0);
  interface_ = make(WC_COMBOBOXW, L"", box | CBS_DROPDOWN);
  create_ = make(WC_BUTTONW, L"&Watch new", WS_TABSTOP, IDM_WATCH_NEW);
  take_ = make(WC_BUTTONW, L"Watch r&unning", WS_TABSTOP, IDM_WATCH_RUNNING);
  items_ =
      make(WC_LISTVIEWW, L"Objects", WS_TABSTOP | LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS);
  remove_ = make(WC_BUTTONW, L"&Remove", WS_TABSTOP, IDM_REMOVE);
  clear_ = make(WC_BUTTONW, L"Remove all", WS_TABSTOP, IDM_REMOVE_ALL);
  memberLabel_ = make(WC_STATICW, L"&Name:", 0);
  member_ = make(WC_EDITW, L"", edit);
  argumentsLabel_ = make(WC_STATICW, L"&Arguments:", 0);
  arguments_ = make(WC_EDITW, L"", edit);
  get_ = make(WC_BUTTONW, L"&Get", WS_TABSTOP, IDM_GET);
  set_ = make(WC_BUTTONW, L"&Set", WS_TABSTOP, IDM_SET);
  call_ = make(WC_BUTTONW, L"Call &method", WS_TABSTOP, IDM_CALL);
  ListView_SetExtendedListViewStyle(items_, LVS_EX_FULLROWSELECT);
  insertColumns(items_, {{L"Position", 60}, {L"Key", 140}, {L"Class", 300}, {L"Events", 80}});
  makePane(
      {{L"Time", 150}, {L"Position", 60}, {L"Source", 160}, {L"Event", 160}, {L"Arguments", 560}},
      wholeEvent);
  offerInterfaces();
}

EventsView::~EventsView() = default;

EventSession& EventsView::session() {
  if (!session_) {
    session_ = std::make_unique<EventSession>([this](Row row) {
      std::vector<Row> rows;
      rows.push_back(std::move(row));
      addRows(std::move(rows));
    });
    session_->setIds(ids_);
  }
  return *session_;
}

void EventsView::appear() {
  if (loader_) return;
  loader_ = std::make_unique<ReaderThread>([this](HANDLE stop) {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return;
    loadedClasses_ = eventSourceClasses(stop);
    CoUninitialize();
    PostMessageW(window(), kClassesKnown, 0, 0);
  });
}

// What somebody is typing stays, and a list that is open stays open.
void EventsView::offerClasses() {
  const std::wstring typed = windowText(class_);
  const LRESULT selection = SendMessageW(class_, CB_GETEDITSEL, 0, 0);
  const LRESULT isOpen = SendMessageW(class_, CB_GETDROPPEDSTATE, 0, 0);
  SendMessageW(class_, CB_RESETCONTENT, 0, 0);
  for (const std::wstring& name : classes_) offer(class_, name);
  for (const RunningObject& object : runningObjects()) offer(class_, object.name);
  if (isOpen) SendMessageW(class_, CB_SHOWDROPDOWN, TRUE, 0);
  SetWindowTextW(class_, typed.c_str());
  SendMessageW(class_, CB_SETEDITSEL, 0, selection);
}

void EventsView::offerInterfaces() {
  SendMessageW(interface_, CB_RESETCONTENT, 0, 0);
  offer(interface_, kDefaultInterface);
  offer(interface_, kNone);
  if (session_) {
    for (const SourceInterface& each : session_->alternatives())
      offer(interface_, each.id + L" " + each.name);
  }
  SetWindowTextW(interface_, kDefaultInterface);
}

// What is chosen or typed: an id in braces, whatever stands behind it.
std::wstring EventsView::chosenInterface() const {
  const std::wstring text = windowText(interface_);
  if (text.empty() || text == kDefaultInterface) return {};
  if (text == kNone) return EventSession::kNoInterface;
  const size_t end = text.find(L'}');
  IID id;
  std::wstring braced = text.substr(0, end == text.npos ? end : end + 1);
  if (FAILED(IIDFromString(braced.data(), &id))) throw Failure{text + L" is no id of an interface"};
  return braced;
}

size_t EventsView::chosen() const {
  return static_cast<size_t>(ListView_GetNextItem(items_, -1, LVNI_SELECTED) + 1);
}

void EventsView::watch(const std::wstring& name, bool isRunning, const std::wstring& key,
                       const std::wstring& interfaceId) {
  const OneAtATime request(isBusy_);
  try {
    session().watch(name, isRunning, key, interfaceId);
  } catch (const Failure& failure) {
    if (!session_ || !session_->wasRefused()) throw;
    offerInterfaces();
    if (IsWindowVisible(interface_)) SetFocus(interface_);
    throw Failure{failure.text + L". Choose another interface, or (none), and try again"};
  }
  offerInterfaces();
  showItems(session_->items().size());
  say(name +
      (interfaceId == EventSession::kNoInterface ? L" is there, without events" : L" is watched"));
}

void EventsView::watchNamed(bool isRunning) {
  watch(windowText(class_), isRunning, windowText(key_), chosenInterface());
  SetWindowTextW(key_, L"");
}

void EventsView::set(const std::wstring& property, const std::wstring& value) {
  const OneAtATime request(isBusy_);
  session().use(session_->items().size(), EventSession::Access::kSet, property, value);
}

void EventsView::use(EventSession::Access access) {
  const OneAtATime request(isBusy_);
  const std::wstring answer =
      session().use(chosen(), access, windowText(member_), windowText(arguments_));
  say(answer);
}

void EventsView::removeChosen() {
  const OneAtATime request(isBusy_);
  const size_t position = chosen();
  try {
    session().remove(position);
  } catch (...) {
    showItems(position);
    throw;
  }
  showItems(position);
}

void EventsView::removeAll() {
  const OneAtATime request(isBusy_);
  try {
    session().clear();
  } catch (...) {
    showItems(0);
    throw;
  }
  showItems(0);
}

void EventsView::note(const std::wstring& failure) {
  std::vector<Row> rows;
  rows.push_back(Row(Kind::kError, {now(), L"", L"", L"(failed)", failure}));
  addRows(std::move(rows));
}

// In the boxes for an object: watches a new one. In those for its members: gets, or sets with a
// value.
void EventsView::pressEnter() {
  const HWND focus = GetFocus();
  const auto isIn = [focus](HWND box) { return focus == box || IsChild(box, focus); };
  if (isIn(class_) || isIn(key_) || isIn(interface_)) {
    watchNamed(false);
  } else if (isIn(member_) || isIn(arguments_)) {
    use(windowText(arguments_).empty() ? EventSession::Access::kGet : EventSession::Access::kSet);
  }
}

void EventsView::setIds(bool ids) {
  if (session_) session_->setIds(ids);
  ids_ = ids;
}

// choose: the position to choose, or the last one before it.
void EventsView::showItems(size_t choose) {
  const std::vector<WatchedItem>& items = session().items();
  ListView_DeleteAllItems(items_);
  for (size_t i = 0; i < items.size(); ++i) {
    const std::wstring position = std::to_wstring(i + 1);
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = static_cast<int>(i);
    item.pszText = const_cast<wchar_t*>(position.c_str());
    ListView_InsertItem(items_, &item);
    setCell(items_, i, 1, items[i].key);
    setCell(items_, i, 2, items[i].name);
  }
  const size_t place = std::min(choose, items.size());
  if (place) {
    ListView_SetItemState(items_, static_cast<int>(place) - 1, LVIS_SELECTED | LVIS_FOCUSED,
                          LVIS_SELECTED | LVIS_FOCUSED);
  }
  showCounts();
}

void EventsView::showCounts() {
  if (!session_) return;
  const std::vector<WatchedItem>& items = session_->items();
  const size_t listed = static_cast<size_t>(ListView_GetItemCount(items_));
  for (size_t i = 0; i < items.size() && i < listed; ++i)
    setCell(items_, i, 3, countText(items[i].events));
}

bool EventsView::command(int id) {
  switch (id) {
    case IDM_WATCH_NEW:
    case IDM_WATCH_RUNNING:
      watchNamed(id == IDM_WATCH_RUNNING);
      return true;
    case IDM_GET:
      use(EventSession::Access::kGet);
      return true;
    case IDM_SET:
      use(EventSession::Access::kSet);
      return true;
    case IDM_CALL:
      use(EventSession::Access::kCall);
      return true;
    case IDM_REMOVE:
      removeChosen();
      return true;
    case IDM_REMOVE_ALL:
      removeAll();
      return true;
    case IDM_IDS:
      setIds(!ids_);
      return true;
    case IDM_READ_AGAIN:
      offerClasses();
      return true;
    case IDOK:
      pressEnter();
      return true;
    default:
      return false;
  }
}

std::optional<LRESULT> EventsView::handle(UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == kClassesKnown) {
    classes_ = std::move(loadedClasses_);
    offerClasses();
    return 0;
  }
  const bool isButton = message == WM_COMMAND && HIWORD(wParam) == BN_CLICKED && lParam;
  if (isButton && command(LOWORD(wParam))) return 0;
  return {};
}

void EventsView::setFont(HFONT font, int dpi) {
  for (const HWND control : controls_) {
    SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  }
  scaleColumns(items_, std::exchange(itemsDpi_, dpi), dpi);
  View::setFont(font, dpi);
}

std::wstring EventsView::state() const {
  return View::state() + L";" + columnState(items_, itemsDpi_);
}

void EventsView::restore(const std::wstring& state) {
  const size_t end = std::min(state.find(L';'), state.size());
  View::restore(state.substr(0, end));
  restoreColumns(items_, state.substr(std::min(end + 1, state.size())), itemsDpi_);
}

// From the left; a width below 0 takes its share of what the others leave.
void EventsView::placeRow(const RECT& area, int top, std::initializer_list<Place> places) const {
  const int line = scaled(24), gap = scaled(6), lower = scaled(4);
  int left = area.right - area.left + gap, shares = 0;
  for (const Place& each : places) {
    left -= gap + std::max(each.width, 0);
    shares += std::max(-each.width, 0);
  }
  int x = area.left;
  for (const Place& each : places) {
    const int width = each.width < 0 ? std::max(left, 0) * -each.width / shares : each.width;
    const bool isBox = each.control == class_ || each.control == interface_;
    const int down = each.isLabel ? lower : 0;
    // The height of a box is that of its open list.
    placeControl(each.control, x, top + down, width, isBox ? 14 * line : line - down);
    x += width + gap;
  }
}

void EventsView::place(const RECT& area) {
  const int line = scaled(24), gap = scaled(6), button = scaled(100);
  int top = area.top;
  placeRow(area, top,
           {{classLabel_, scaled(38), true},
            {class_, -3},
            {keyLabel_, scaled(28), true},
            {key_, -1},
            {interfaceLabel_, scaled(56), true},
            {interface_, -2},
            {create_, button},
            {take_, button}});
  top += line + gap;
  const int height = 4 * line;
  placeControl(items_, area.left, top, area.right - area.left - button - gap, height);
  placeControl(remove_, area.right - button, top, button, line);
  placeControl(clear_, area.right - button, top + line + gap, button, line);
  top += height + gap;
  placeRow(area, top,
           {{memberLabel_, scaled(38), true},
            {member_, -1},
            {argumentsLabel_, scaled(66), true},
            {arguments_, -2},
            {get_, scaled(60)},
            {set_, scaled(60)},
            {call_, button}});
  top += line + gap;
  pane().place({area.left, top, area.right, area.bottom});
}

}  // namespace monitor

#include "debug_output.h"

#include <windows.h>

#include <algorithm>
#include <map>
#include <memory>
#include <sddl.h>

#include "trace_record.h"

namespace monitor {
namespace {

constexpr size_t kPage = 4096;
constexpr size_t kMostText = 1024 * 1024;  // characters of one line that comes in pieces
constexpr DWORD kNextPieceWithin = 1000;   // milliseconds

// As programs find it.
struct DebugPage {
  DWORD process;
  char text[kPage - sizeof(DWORD)];
};

// Everybody may write, programs of low integrity, too.
class OpenToAll {
 public:
  OpenToAll() {
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;GA;;;WD)S:(ML;;NW;;;LW)",
                                                         SDDL_REVISION_1, &descriptor_, nullptr);
    attributes_ = {sizeof attributes_, descriptor_, FALSE};
  }
  OpenToAll(const OpenToAll&) = delete;
  OpenToAll& operator=(const OpenToAll&) = delete;
  ~OpenToAll() { LocalFree(descriptor_); }
  SECURITY_ATTRIBUTES* get() { return &attributes_; }

 private:
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

// The listener's end of one namespace's debug output.
class Listener {
 public:
  explicit Listener(const std::wstring& space) {
    OpenToAll security;
    ready_ =
        Handle(CreateEventW(security.get(), FALSE, FALSE, (space + L"DBWIN_BUFFER_READY").c_str()));
    isTaken_ = GetLastError() == ERROR_ALREADY_EXISTS;
    data_ =
        Handle(CreateEventW(security.get(), FALSE, FALSE, (space + L"DBWIN_DATA_READY").c_str()));
    memory_ = Handle(CreateFileMappingW(INVALID_HANDLE_VALUE, security.get(), PAGE_READWRITE, 0,
                                        kPage, (space + L"DBWIN_BUFFER").c_str()));
    page_ = static_cast<const DebugPage*>(MapViewOfFile(memory_.get(), FILE_MAP_READ, 0, 0, kPage));
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener() {
    if (page_) UnmapViewOfFile(page_);
  }

  bool isTaken() const { return isTaken_; }
  bool canListen() const { return ready_ && data_ && page_ && !isTaken_; }
  HANDLE data() const { return data_.get(); }
  void next() const { SetEvent(ready_.get()); }

  std::pair<DWORD, std::string> take() const {
    return {page_->process, std::string(page_->text, strnlen(page_->text, sizeof page_->text))};
  }

 private:
  Handle ready_, data_, memory_;
  bool isTaken_ = false;
  const DebugPage* page_ = nullptr;
};

std::wstring fromSystemCodePage(std::string_view bytes) {
  std::wstring text(bytes.size(), L'\0');
  const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()),
                                         text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

// Puts together what came in pieces: a text that fills the page may go on in the next one. Where
// the system cuts it off instead, nothing more comes, or the beginning of another record.
class Assembly {
 public:
  explicit Assembly(const std::atomic<bool>& allPrograms) : allPrograms_(allPrograms) {}

  bool isWaiting() const { return !begun_.empty(); }

  std::vector<Row> take(DWORD process, const std::string& piece) {
    std::vector<Row> rows;
    if (begun_.contains(process) && beginsLikeRecord(fromSystemCodePage(piece))) end(process, rows);
    Begun& begun = begun_[process];
    begun.text += piece;
    begun.latest = GetTickCount64();
    const bool goesOn = piece.size() >= sizeof DebugPage::text - 1 && !piece.ends_with('\n');
    if (!goesOn || begun.text.size() > kMostText) end(process, rows);
    return rows;
  }

  // What has waited long enough.
  std::vector<Row> takeDue() {
    std::vector<Row> rows;
    std::vector<DWORD> due;
    for (const auto& [process, begun] : begun_) {
      if (GetTickCount64() - begun.latest >= kNextPieceWithin) due.push_back(process);
    }
    for (const DWORD process : due) end(process, rows);
    return rows;
  }

 private:
  struct Begun {
    std::string text;
    ULONGLONG latest = 0;
  };

  void end(DWORD process, std::vector<Row>& rows) {
    const std::wstring whole = fromSystemCodePage(begun_[process].text);
    begun_.erase(process);
    Programs programs;
    for (std::wstring_view text = whole; !text.empty();) {
      const size_t end = std::min(text.find(L'\n'), text.size());
      std::wstring_view line = text.substr(0, end);
      if (line.ends_with(L'\r')) line.remove_suffix(1);
      if (beginsLikeRecord(line)) {
        rows.push_back(rowOfLine(line, true, nullptr, programs));
      } else if (allPrograms_ && !line.empty()) {
        rows.push_back(rowOfDebugOutput(line, process, programs));
      }
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }

  const std::atomic<bool>& allPrograms_;
  std::map<DWORD, Begun> begun_;
};

using Listeners = std::vector<std::unique_ptr<const Listener>>;

// The second one is that of services. Where it is the same, the first has it already.
Listeners makeListeners(Feed& feed, std::atomic<bool>& isListening) {
  Listeners listeners;
  for (const wchar_t* const space : {L"", L"Global\\"}) {
    auto listener = std::make_unique<const Listener>(space);
    if (listener->canListen()) {
      listeners.push_back(std::move(listener));
    } else if (!*space) {
      isListening = false;
      // To keep what another one owns would make programs wait for a listener when that has gone.
      feed.say(listener->isTaken() ? L"Debug output is being read by another program"
                                   : L"Debug output cannot be read");
    }
  }
  return listeners;
}

void listen(const std::atomic<bool>& allPrograms, std::atomic<bool>& isListening, Feed& feed,
            HANDLE stop) {
  const Listeners listeners = makeListeners(feed, isListening);
  std::vector<HANDLE> handles = {stop};
  for (const auto& each : listeners) {
    handles.push_back(each->data());
    each->next();
  }
  Assembly assembly(allPrograms);
  for (;;) {
    const DWORD signalled =
        WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                               assembly.isWaiting() ? kNextPieceWithin : INFINITE);
    if (signalled != WAIT_TIMEOUT) {
      if (signalled == WAIT_OBJECT_0 || signalled > WAIT_OBJECT_0 + listeners.size()) break;
      const Listener& listener = *listeners[signalled - WAIT_OBJECT_0 - 1];
      const auto [process, piece] = listener.take();
      listener.next();
      feed.add(assembly.take(process, piece));
    }
    feed.add(assembly.takeDue());
  }
  // Who was about to write shall not wait for a listener that has gone.
  for (const auto& each : listeners) each->next();
}

}  // namespace

DebugOutput::DebugOutput(Feed& feed, bool allPrograms)
    : allPrograms_(allPrograms),
      thread_([this, &feed](HANDLE stop) { listen(allPrograms_, isListening_, feed, stop); }) {}

}  // namespace monitor

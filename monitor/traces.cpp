#include "traces.h"

#include <initializer_list>

#include "text.h"
#include "trace_record.h"

namespace monitor {
namespace {

constexpr size_t kMostSingle = 50'000;
// A record is written to the file first, with a time that it was given before.
constexpr int kLongestWay = 10;  // seconds

// What tells a record from another, as a number (FNV-1a). The debug output has lost characters that
// are not of the system's code page, so the texts do not count.
ULONGLONG identityOf(const Row& row) {
  ULONGLONG identity = 0xCBF29CE484222325;
  const auto mix = [&identity](wchar_t character) {
    identity = (identity ^ character) * 0x100000001B3;
  };
  for (const TraceCell cell : {kTime, kProcess, kThread, kClass, kProcedure, kNumber}) {
    for (const wchar_t character : row.cell(cell)) mix(character);
    mix(L'\t');
  }
  return identity;
}

}  // namespace

void Traces::read(const std::wstring& logFile) {
  logs_ = nullptr;
  Feed::News waiting = feed_.take();
  std::erase_if(waiting.rows, [](const Row& row) { return row.origin() != nullptr; });
  feed_.add(std::move(waiting.rows));
  if (!waiting.status.empty()) feed_.say(waiting.status);
  single_.clear();
  arrived_.clear();
  mostSingle_ = kMostSingle;
  hasTakenFirst_ = false;
  isOneFile_ = !logFile.empty();
  if (!isOneFile_ || allPrograms_) listen();
  paths_ = isOneFile_ ? std::vector<LogPath>{{logFile}} : libraryLogs();
  logs_ = std::make_unique<LogWatch>(paths_, feed_);
}

// Once and for good, as programs that write while the listener changes wait for seconds; and again
// when somebody else was listening.
void Traces::listen() {
  if (output_ && output_->isListening()) return;
  output_ = nullptr;
  if (listeningSince_.empty()) listeningSince_ = now(-kLongestWay);
  output_ = std::make_unique<DebugOutput>(feed_, allPrograms_);
}

void Traces::setAllPrograms(bool all) {
  allPrograms_ = all;
  if (!logs_) return;
  if (all) listen();
  if (!all && isOneFile_) output_ = nullptr;
  if (output_) output_->setAllPrograms(all);
}

void Traces::expectTwinOf(const Row& row) {
  ++mostSingle_;
  isTwin(row);
}

Feed::News Traces::take() {
  // Of what the files held before, nothing can have come by the debug output.
  const std::wstring earliest = hasTakenFirst_ ? L"" : listeningSince_;
  hasTakenFirst_ = logs_ && logs_->hasReadFirst();
  Feed::News news = feed_.take();
  if (!listeningSince_.empty()) {
    std::erase_if(news.rows,
                  [&](const Row& row) { return row.cell(kTime) >= earliest && isTwin(row); });
  }
  return news;
}

// A record that has come the other way as often as this way is no twin.
bool Traces::isTwin(const Row& row) {
  if (row.kind() == Kind::kPlain || row.kind() == Kind::kDamaged) return false;
  const int way = row.origin() ? 1 : -1;
  const ULONGLONG identity = identityOf(row);
  int& surplus = single_[identity];
  const bool isTwin = surplus * way < 0;
  surplus += way;
  if (surplus == 0) single_.erase(identity);
  if (!isTwin) arrived_.push_back(identity);
  if (arrived_.size() > mostSingle_) {
    single_.erase(arrived_.front());
    arrived_.pop_front();
  }
  return isTwin;
}

}  // namespace monitor

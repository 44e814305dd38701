#include "traces.h"

#include <initializer_list>

#include "text.h"
#include "trace_record.h"

namespace monitor {
namespace {

constexpr size_t kMostSingle = 2'000;

// What tells a record from another. The debug output has lost characters that are not of the
// system's code page, so the texts do not count.
std::wstring identityOf(const Row& row) {
  std::wstring identity;
  for (const TraceCell cell : {kTime, kProcess, kThread, kClass, kProcedure, kNumber}) {
    (identity += row.cell(cell)) += L'\t';
  }
  return identity;
}

}  // namespace

void Traces::read(const std::wstring& logFile) {
  logs_ = nullptr;
  feed_.take();
  single_.clear();
  isOneFile_ = !logFile.empty();
  if (!isOneFile_) listen();
  logs_ = std::make_unique<LogWatch>(
      logFile.empty() ? libraryLogs() : std::vector<std::wstring>{logFile}, feed_);
}

// Once and for good: programs that write while the listener changes wait for seconds.
void Traces::listen() {
  if (!output_) output_ = std::make_unique<DebugOutput>(feed_);
}

void Traces::setAllPrograms(bool all) {
  if (all) listen();
  if (!all && isOneFile_) output_ = nullptr;
  if (output_) output_->setAllPrograms(all);
}

Feed::News Traces::take() {
  Feed::News news = feed_.take();
  if (output_) std::erase_if(news.rows, [this](const Row& row) { return isTwin(row); });
  return news;
}

// A record that has come the other way as often as this way is no twin.
bool Traces::isTwin(const Row& row) {
  if (row.kind() == Kind::kPlain || row.kind() == Kind::kDamaged) return false;
  if (single_.size() > kMostSingle) single_.erase(single_.begin());  // the oldest time
  const int way = row.cell(kOrigin) == kDebugOutputOrigin ? -1 : 1;
  int& surplus = single_[identityOf(row)];
  const bool isTwin = surplus * way < 0;
  surplus += way;
  return isTwin;
}

}  // namespace monitor

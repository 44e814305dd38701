#include "trace_record.h"

#include <algorithm>
#include <array>
#include <optional>

#include "text.h"

namespace monitor {
namespace {

constexpr size_t kFields = 10;
constexpr size_t kTimeLength = 23;
constexpr std::wstring_view kNote = L"The log could not be renamed";

bool isDigits(std::wstring_view text) {
  return !text.empty() && text.find_first_not_of(L"0123456789") == text.npos;
}

bool isTime(std::wstring_view text) {
  constexpr std::wstring_view form = L"0000-00-00 00:00:00.000";
  return text.size() == form.size() &&
         std::equal(text.begin(), text.end(), form.begin(), [](wchar_t c, wchar_t expected) {
           return expected == L'0' ? c >= L'0' && c <= L'9' : c == expected;
         });
}

bool isErrorNumber(std::wstring_view text) {
  const bool isHexadecimal = text.starts_with(L"0x");
  return isHexadecimal
             ? text.size() == 10 && text.find_first_not_of(L"0123456789ABCDEF", 2) == text.npos
             : isDigits(text);
}

// The text that a field stands for; none when an escape is not one.
std::optional<std::wstring> unescaped(std::wstring_view field) {
  constexpr std::wstring_view names = L"\\rnt", meanings = L"\\\r\n\t";
  std::wstring text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] != L'\\') {
      text += field[i];
      continue;
    }
    const wchar_t name = ++i < field.size() ? field[i] : L'\0';
    const size_t place = name ? names.find(name) : names.npos;
    if (place != names.npos) {
      text += meanings[place];
    } else {
      const std::wstring digits(field.substr(std::min(i + 1, field.size())).substr(0, 4));
      const bool isCode = name == L'u' && digits.size() == 4 &&
                          digits.find_first_not_of(L"0123456789ABCDEF") == digits.npos;
      if (!isCode) return {};
      text += static_cast<wchar_t>(std::stoul(digits, nullptr, 16));
      i += 4;
    }
  }
  return text;
}

using Fields = std::array<std::wstring, kFields>;

std::optional<Fields> fieldsOf(std::wstring_view line) {
  if (static_cast<size_t>(std::count(line.begin(), line.end(), L'\t')) != kFields - 1) return {};
  Fields fields;
  for (std::wstring& field : fields) {
    const size_t end = std::min(line.find(L'\t'), line.size());
    std::optional<std::wstring> text = unescaped(line.substr(0, end));
    if (!text) return {};
    field = std::move(*text);
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  const bool isSound =
      isTime(fields[0]) && isDigits(fields[2]) && isDigits(fields[3]) && isErrorNumber(fields[6]);
  return isSound ? std::optional(std::move(fields)) : std::nullopt;
}

Kind kindOf(std::wstring_view number) {
  if (number == L"0") return Kind::kInformation;
  return number.starts_with(L"0x") ? Kind::kError : Kind::kRunTimeError;
}

DWORD processNumber(const std::wstring& digits) {
  return digits.size() < 10 ? static_cast<DWORD>(std::stoul(digits)) : 0;
}

// "in NAME.EXE", where the context is recorded.
std::wstring programOf(const Fields& fields, Programs& programs) {
  if (fields[9].starts_with(L"in ")) return fields[9].substr(3);
  return programs.nameOf(processNumber(fields[2]), fields[0]);
}

std::wstring localTimeText(const FILETIME& time) {
  SYSTEMTIME universal, local;
  if (!FileTimeToSystemTime(&time, &universal) ||
      !SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local)) {
    return {};
  }
  return timeText(local);
}

// One label: "System\ZSupport.Zollection::Sub Add" without the product, which every record has.
std::wstring_view withoutProduct(std::wstring_view label) {
  const size_t procedure = label.find(L"::");
  if (procedure == label.npos) return label;
  const size_t dot = label.substr(0, procedure).rfind(L'.');
  return dot == label.npos ? label : label.substr(dot + 1);
}

}  // namespace

std::wstring Programs::nameOf(DWORD process, std::wstring_view recordTime) {
  auto found = known_.find(process);
  if (found == known_.end()) {
    Program program;
    if (const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process)) {
      wchar_t path[MAX_PATH];
      DWORD length = ARRAYSIZE(path);
      FILETIME start, end, kernel, user;
      if (QueryFullProcessImageNameW(handle, 0, path, &length) &&
          GetProcessTimes(handle, &start, &end, &kernel, &user)) {
        program = {fileNameOf({path, length}), localTimeText(start)};
      }
      CloseHandle(handle);
    }
    found = known_.emplace(process, std::move(program)).first;
  }
  const Program& program = found->second;
  return recordTime.empty() || program.start <= recordTime ? program.name : std::wstring();
}

bool beginsLikeRecord(std::wstring_view line) {
  return isTime(line.substr(0, kTimeLength)) && line.substr(kTimeLength).starts_with(L'\t');
}

Row rowOfLine(std::wstring_view line, bool isSound, const Origin& origin, Programs& programs) {
  if (const std::optional<Fields> fields = isSound ? fieldsOf(line) : std::nullopt) {
    const Fields& f = *fields;
    return Row(kindOf(f[6]),
               {f[0], programOf(f, programs), f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[1], f[9]},
               origin);
  }
  const std::wstring_view time =
      isTime(line.substr(0, kTimeLength)) ? line.substr(0, kTimeLength) : L"";
  const bool isNote = line.starts_with(kNote);
  return Row(isNote ? Kind::kInformation : Kind::kDamaged,
             {time, L"", L"", L"", isNote ? L"" : L"(damaged line)", L"", L"", L"", line}, origin);
}

Row rowOfDebugOutput(std::wstring_view text, DWORD process, Programs& programs) {
  return Row(Kind::kPlain, {now(), programs.nameOf(process, L""), std::to_wstring(process), L"",
                            L"", L"", L"", L"", text});
}

std::wstring roadOf(std::wstring_view source) {
  std::wstring road;
  while (!source.empty()) {
    const size_t end = std::min(source.find(L'!'), source.size());
    const std::wstring_view label = source.substr(0, end);
    const bool isFrame = label.find(L"::") != label.npos;
    road += road.empty() ? (isFrame ? L"left " : L"came from ")
                         : (isFrame ? L", before that left " : L", came from ");
    road += withoutProduct(label);
    source.remove_prefix(std::min(end + 1, source.size()));
  }
  return road;
}

}  // namespace monitor

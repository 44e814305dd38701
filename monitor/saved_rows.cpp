#include "saved_rows.h"

#include <utility>

#include "failure.h"
#include "handle.h"
#include "text.h"

namespace monitor {
namespace {

// What a spreadsheet would take for a formula stays a text; a negative number is none.
bool isFormula(std::wstring_view text) {
  if (text.empty() || std::wstring_view(L"=+-@").find(text[0]) == text.npos) return false;
  return text[0] != L'-' || text.find_first_not_of(L"0123456789.", 1) != text.npos;
}

std::wstring csvCell(std::wstring_view text) {
  std::wstring cell = isFormula(text) ? L"\"'" : L"\"";
  for (const wchar_t c : text) {
    if (c == L'"') cell += c;
    cell += c;
  }
  return cell + L'"';
}

std::wstring cellText(std::wstring_view text, TextForm form) {
  return form == TextForm::kCommas ? csvCell(text) : onOneLine(text);
}

// Cells behind the first one.
std::wstring nextCell(std::wstring_view text, TextForm form) {
  return (form == TextForm::kCommas ? L"," : L"\t") + cellText(text, form);
}

}  // namespace

std::wstring headLine(const std::vector<Column>& columns, TextForm form) {
  std::wstring line = cellText(columns[0].name, form);
  for (size_t i = 1; i < columns.size(); ++i) line += nextCell(columns[i].name, form);
  return line + L"\r\n";
}

std::wstring rowLine(const Row& row, size_t columns, TextForm form) {
  std::wstring line = cellText(row.cell(0), form);
  for (size_t i = 1; i < columns; ++i) line += nextCell(row.cell(i), form);
  return line + L"\r\n";
}

void saveRows(const std::wstring& path, const std::vector<Column>& columns, size_t count,
              const std::function<const Row&(size_t)>& row) {
  const bool isCsv = path.size() > 4 && compareFolded(path.substr(path.size() - 4), L".csv") == 0;
  const TextForm form = isCsv ? TextForm::kCommas : TextForm::kTabs;
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
  std::wstring text = L"\xFEFF" + headLine(columns, form);
  for (size_t i = 0; i < count; ++i) {
    text += rowLine(row(i), columns.size(), form);
    if (text.size() > 0x10000) write(std::exchange(text, {}));
  }
  write(text);
  if (error) throw Failure{path + L" cannot be written: " + systemText(error)};
}

void putOnClipboard(HWND owner, const std::wstring& text) {
  // Others hold it for a moment each.
  for (int tries = 1; !OpenClipboard(owner); ++tries) {
    if (tries == 20) throw Failure{L"The clipboard is in use"};
    Sleep(20);
  }
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

}  // namespace monitor

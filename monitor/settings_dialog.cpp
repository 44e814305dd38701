#include "settings_dialog.h"

#include <algorithm>
#include <initializer_list>

#include "controls.h"
#include "debug_settings.h"
#include "failure.h"
#include "resource.h"

namespace monitor {
namespace {

struct Switch {
  int control;
  LONG bit;
};
constexpr Switch kSwitches[] = {
    {IDC_TO_LOG_FILE, edlTLogFile}, {IDC_TO_EVENT_LOG, edlTEventLog}, {IDC_TO_TRACE, edlTZTrace},
    {IDC_CALL_STACK, edlCallStack}, {IDC_SHOW_CODES, edlAPIAppBase},  {IDC_BREAK, edlAPIBreak},
};
constexpr const wchar_t* kLevels[] = {
    L"0: nothing",
    L"1: errors",
    L"2: errors",
    L"3: errors, and somebody is asked each time",
};

std::wstring originText(Origin origin, bool isSound) {
  static constexpr const wchar_t* texts[] = {
      L"decided by a policy",
      L"set for this user",
      L"set for all users of this machine",
      L"not set: the default",
  };
  return std::wstring(texts[static_cast<int>(origin)]) +
         (isSound ? L"" : L", as something that cannot be read: the default is shown");
}

class SettingsDialog {
 public:
  static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
      SetWindowLongPtrW(window, DWLP_USER, lParam);
      reinterpret_cast<SettingsDialog*>(lParam)->window_ = window;
    }
    const auto self = reinterpret_cast<SettingsDialog*>(GetWindowLongPtrW(window, DWLP_USER));
    if (!self) return FALSE;
    try {
      return self->handle(message, wParam);
    } catch (...) {
      SetDlgItemTextW(window, IDC_MESSAGE, failureText().c_str());
      return TRUE;
    }
  }

  bool hasWritten() const { return hasWritten_; }

 private:
  INT_PTR handle(UINT message, WPARAM wParam) {
    if (message == WM_INITDIALOG) {
      EnableWindow(control(IDOK), FALSE);
      fill();
      EnableWindow(control(IDOK), TRUE);
      return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    switch (LOWORD(wParam)) {
      case IDC_BROWSE:
        browse();
        return TRUE;
      case IDOK:
        write();
        EndDialog(window_, IDOK);
        return TRUE;
      case IDCANCEL:
        EndDialog(window_, IDCANCEL);
        return TRUE;
      default:
        return FALSE;
    }
  }

  HWND control(int id) const { return GetDlgItem(window_, id); }

  void fill() {
    for (const wchar_t* const level : kLevels) {
      SendMessageW(control(IDC_LEVEL), CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(level));
    }
    CheckRadioButton(window_, IDC_FOR_USER, IDC_FOR_ALL, IDC_FOR_USER);
    level_ = settings_.number(kLevelSetting, kDefaultLevel);
    SendMessageW(control(IDC_LEVEL), CB_SETCURSEL, static_cast<WPARAM>(shownLevel()), 0);
    for (const Switch& each : kSwitches) {
      CheckDlgButton(window_, each.control, level_.value & each.bit ? BST_CHECKED : BST_UNCHECKED);
    }
    tell(IDC_LEVEL_ORIGIN, level_,
         {IDC_LEVEL, IDC_TO_LOG_FILE, IDC_TO_EVENT_LOG, IDC_TO_TRACE, IDC_CALL_STACK,
          IDC_SHOW_CODES, IDC_BREAK});
    logFile_ = settings_.text(kLogFileSetting);
    SetDlgItemTextW(window_, IDC_LOG_FILE, logFile_.value.c_str());
    tell(IDC_LOG_FILE_ORIGIN, logFile_, {IDC_LOG_FILE, IDC_BROWSE});
    action_ = settings_.number(kActionSetting, kDefaultAction);
    SetDlgItemInt(window_, IDC_ACTION, static_cast<UINT>(action_.value), TRUE);
    tell(IDC_ACTION_ORIGIN, action_, {IDC_ACTION});
  }

  template <class Setting>
  void tell(int label, const Setting& setting, std::initializer_list<int> controls) const {
    SetDlgItemTextW(window_, label, originText(setting.origin, setting.isSound).c_str());
    for (const int id : controls) EnableWindow(control(id), setting.origin != Origin::kPolicy);
  }

  void browse() const {
    const std::wstring path = askWhereToSave(window_, L"Log files (*.log)\0*.log\0All files\0*.*\0",
                                             L"log", windowText(control(IDC_LOG_FILE)), false);
    if (!path.empty()) SetDlgItemTextW(window_, IDC_LOG_FILE, path.c_str());
  }

  // Higher ones do what the highest does.
  LONG shownLevel() const {
    return std::min<LONG>(level_.value & edlLevelMask, ARRAYSIZE(kLevels) - 1);
  }

  // Bits that have no box stay as they are, and so does a level that is not chosen anew.
  LONG chosenLevel() const {
    LONG level = level_.value;
    const LONG chosen = static_cast<LONG>(SendMessageW(control(IDC_LEVEL), CB_GETCURSEL, 0, 0));
    if (chosen != shownLevel()) level = (level & ~LONG{edlLevelMask}) | chosen;
    for (const Switch& each : kSwitches) {
      level = IsDlgButtonChecked(window_, each.control) ? level | each.bit : level & ~each.bit;
    }
    return level;
  }

  LONG chosenAction() const {
    BOOL isNumber = FALSE;
    const UINT action = GetDlgItemInt(window_, IDC_ACTION, &isNumber, TRUE);
    if (!isNumber) throw Failure{L"The default action is a number"};
    return static_cast<LONG>(action);
  }

  void write() {
    const LONG level = chosenLevel(), action = chosenAction();
    const std::wstring logFile = windowText(control(IDC_LOG_FILE));
    put(kLevelSetting, level_, level, _variant_t(level), _variant_t(kDefaultLevel));
    put(kActionSetting, action_, action, _variant_t(action), _variant_t(kDefaultAction));
    put(kLogFileSetting, logFile_, logFile, _variant_t(bstrOf(logFile)), _variant_t(L""));
  }

  // What has not been changed keeps its place, unless it cannot be read or is to hold for
  // everybody.
  template <class Value>
  void put(const wchar_t* name, DebugSettings::Setting<Value>& setting, const Value& chosen,
           const _variant_t& value, const _variant_t& whenMissing) {
    const bool forAll = IsDlgButtonChecked(window_, IDC_FOR_ALL);
    const bool isToBeShared = forAll && setting.origin == Origin::kUser;
    if (setting.origin == Origin::kPolicy) return;
    if (chosen == setting.value && setting.isSound && !isToBeShared) return;
    settings_.write(name, value, whenMissing, forAll);
    setting = {chosen, setting.origin, true};
    hasWritten_ = true;
  }

  HWND window_ = nullptr;
  const DebugSettings settings_;
  DebugSettings::Setting<LONG> level_{}, action_{};
  DebugSettings::Setting<std::wstring> logFile_{};
  bool hasWritten_ = false;
};

}  // namespace

bool showSettings(HWND owner) {
  SettingsDialog dialog;
  DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_SETTINGS), owner,
                  SettingsDialog::procedure, reinterpret_cast<LPARAM>(&dialog));
  return dialog.hasWritten();
}

}  // namespace monitor

// The view of the events of any objects.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "event_session.h"
#include "reader_thread.h"
#include "view.h"

namespace monitor {

class EventsView final : public View {
 public:
  EventsView(HWND parent, const Frame& frame);
  ~EventsView() override;

  bool command(int id) override;
  void appear() override;
  void setFont(HFONT font, int dpi) override;
  std::wstring state() const override;
  void restore(const std::wstring& state) override;

  // Throws a Failure.
  void watch(const std::wstring& name, bool isRunning, const std::wstring& key = {},
             const std::wstring& interfaceId = {});
  void set(const std::wstring& property, const std::wstring& value);
  void setIds(bool ids);
  // A line among the events.
  void note(const std::wstring& failure);
  bool ids() const { return ids_; }

 private:
  struct Place {
    HWND control;
    int width;
    bool isLabel = false;
  };
  void placeRow(const RECT& area, int top, std::initializer_list<Place> places) const;
  void place(const RECT& area) override;
  std::optional<LRESULT> handle(UINT message, WPARAM wParam, LPARAM lParam) override;
  void shown() override { showCounts(); }

  EventSession& session();
  void watchNamed(bool isRunning);
  void use(EventSession::Access access);
  void removeChosen();
  void removeAll();
  void offerClasses();
  void pressEnter();
  void offerInterfaces();
  std::wstring chosenInterface() const;
  size_t chosen() const;
  void showItems(size_t choose);
  void showCounts();

  std::unique_ptr<EventSession> session_;
  bool ids_ = false;
  bool isBusy_ = false;
  std::vector<std::wstring> classes_;
  std::vector<std::wstring> loadedClasses_;  // loader_'s, until it says that they are there
  std::unique_ptr<ReaderThread> loader_;
  std::vector<HWND> controls_;
  int itemsDpi_ = 96;
  HWND classLabel_, class_, keyLabel_, key_, interfaceLabel_, interface_, create_, take_;
  HWND items_, remove_, clear_;
  HWND memberLabel_, member_, argumentsLabel_, arguments_, get_, set_, call_;
};

}  // namespace monitor

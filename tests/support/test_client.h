// A client of a collection's events: keeps what it heard, and answers as a test chooses.
#pragma once

#include "support/test_source.h"

struct Heard {
  LONG index;
  IDispatch* source;  // not referenced
  std::wstring name;  // or the dispatch id in decimal, after "#"
  std::vector<std::wstring> arguments;
};

// With a collection of its own.
class CollectionTest : public testing::Test {
 protected:
  // A new item, added.
  ComPtr<TestSource> added(Behaviour behaviour = {}, Placement place = {}) {
    auto item = TestSource::make(std::move(behaviour));
    EXPECT_EQ(S_OK, add(z.get(), item.get(), std::move(place)));
    return item;
  }
  ComPtr<_Zollection> z = newCollection();
};

class TestClient final : public DispatchStub {
 public:
  explicit TestClient(_Zollection* z) {
    const auto container = ComPtr<IConnectionPointContainer>::from(z);
    EXPECT_EQ(S_OK, container->FindConnectionPoint(__uuidof(__Zollection), point_.put()));
    EXPECT_EQ(S_OK, point_->Advise(this, &cookie_));
  }
  TestClient(const TestClient&) = delete;
  TestClient& operator=(const TestClient&) = delete;
  ~TestClient() {
    disconnect();
    EXPECT_EQ(0, references) << "the collection kept a client";
  }

  DWORD cookie() const { return cookie_; }
  void disconnect() {
    if (!point_) return;
    EXPECT_EQ(S_OK, point_->Unadvise(cookie_));
    point_.reset();
  }

  std::vector<Heard> heard;
  std::function<void(SAFEARRAY** aParams)> onEvent = {};
  std::function<void(BSTR* sourceIID, LONG reason)> onConnectionFailed = {};
  HRESULT answer = S_OK;
  LONG references = 0;

  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--references); }
  STDMETHODIMP Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                      EXCEPINFO* failure, UINT*) override {
    const VARIANTARG* const lastFirst = parameters->rgvarg;
    if (event == 1 && parameters->cArgs == 4) {
      SAFEARRAY** const aParams = V_ARRAYREF(&lastFirst[0]);
      heard.push_back({V_I4(&lastFirst[3]), V_DISPATCH(&lastFirst[2]), nameOf(lastFirst[1]),
                       textsOf(*aParams)});
      // Copies: a handler may set another one.
      if (const auto handler = onEvent) handler(aParams);
    } else if (event == 2 && parameters->cArgs == 3) {
      if (const auto handler = onConnectionFailed) {
        handler(V_BSTRREF(&lastFirst[1]), V_I4(&lastFirst[0]));
      }
    } else {
      ADD_FAILURE() << event;
    }
    if (FAILED(answer)) failure->bstrDescription = SysAllocString(L"handler failed");
    return answer;
  }

 private:
  static std::wstring nameOf(const VARIANT& raised) {
    if (V_VT(&raised) == VT_I4) return L"#" + std::to_wstring(V_I4(&raised));
    return std::wstring(zsupport::viewOf(V_BSTR(&raised)));
  }
  static std::vector<std::wstring> textsOf(SAFEARRAY* array) {
    std::vector<std::wstring> texts;
    for (ULONG i = 0; array && i < array->rgsabound[0].cElements; ++i) {
      Variant text;
      const HRESULT converted = VariantChangeType(
          text.put(), static_cast<VARIANT*>(array->pvData) + i, VARIANT_ALPHABOOL, VT_BSTR);
      texts.push_back(converted == S_OK ? V_BSTR(text.inout()) : L"?");
    }
    return texts;
  }

  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

// An element of the array that a handler gets, for the handler to change.
inline VARIANT& element(SAFEARRAY** aParams, LONG index) {
  return static_cast<VARIANT*>((*aParams)->pvData)[index];
}

inline void set(VARIANT& value, VARIANT content) {
  VariantClear(&value);
  value = content;
}

// With a client, and on a thread that hears errors.
class LoudCollectionTest : public CollectionTest {
 protected:
  // An error of the collection's own: from here on, this thread's errors are raised.
  LoudCollectionTest() { EXPECT_EQ(runtimeError(381), z->RemoveByIndex(0)); }

  TestClient client{z.get()};
};

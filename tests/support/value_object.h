// An object that stands for a value: that of its default member, which is all it has.
#pragma once

#include <functional>

#include "support/com.h"
#include "support/dispatch_stub.h"

class ValueObject final : public DispatchStub {
 public:
  using Read = std::function<HRESULT(VARIANT*)>;

  static ComPtr<ValueObject> make(Read read) {
    return ComPtr<ValueObject>::attach(new ValueObject(std::move(read)));
  }
  // That owns nothing.
  static ComPtr<ValueObject> of(VARIANT value) {
    return make([value](VARIANT* read) { return VariantCopy(read, const_cast<VARIANT*>(&value)); });
  }
  // Its value is the object itself.
  static ComPtr<ValueObject> endless() {
    const auto object = make({});
    object->read_ = [self = object.get()](VARIANT* read) {
      *read = objectValue(ComPtr<IDispatch>(self).detach());
      return S_OK;
    };
    return object;
  }

  static inline LONG alive = 0;
  LONG reads = 0;

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (--references_ > 0) return references_;
    delete this;
    return 0;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result,
                                   EXCEPINFO*, UINT*) override {
    if (member != DISPID_VALUE || !result) return DISP_E_MEMBERNOTFOUND;
    ++reads;
    return read_(result);
  }

 private:
  explicit ValueObject(Read read) : read_(std::move(read)) { ++alive; }
  ~ValueObject() { --alive; }

  Read read_;
  ULONG references_ = 1;
};

// The types of numbers, a Boolean among them.
inline constexpr VARTYPE kNumericTypes[] = {VT_I1,  VT_I2,      VT_I4,   VT_I8,   VT_INT, VT_UI1,
                                            VT_UI2, VT_UI4,     VT_UI8,  VT_UINT, VT_R4,  VT_R8,
                                            VT_CY,  VT_DECIMAL, VT_DATE, VT_BOOL};

// A number of any type.
inline VARIANT numberOf(VARTYPE type, LONG number) {
  VARIANT value = longValue(number), result{};
  EXPECT_EQ(S_OK, VariantChangeType(&result, &value, 0, type)) << type;
  return result;
}

#include "frame/member.h"

#include <cstring>

namespace zsupport {

HRESULT MemberCall::run() const noexcept {
  return atBoundary(interfaceId, required, [&] {
    if (resultSize > 0) {
      requirePointer(result);
      std::memset(result, 0, resultSize);
    }
    framed(procedure, [&] { body(context); });
  });
}

}  // namespace zsupport

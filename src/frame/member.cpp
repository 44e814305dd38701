#include "frame/member.h"

#include <cstring>

namespace zsupport {

HRESULT runMember(REFIID interfaceId, const Procedure& procedure, RequiredPointers required,
                  ResultPlace result, void (*body)(const void*), const void* context) noexcept {
  return atBoundary(interfaceId, required, [&] {
    if (result.size > 0) {
      requirePointer(result.address);
      std::memset(result.address, 0, result.size);
    }
    framed(procedure, [&] { body(context); });
  });
}

}  // namespace zsupport

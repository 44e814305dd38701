#include "frame/member.h"

namespace zsupport {

HRESULT runMember(REFIID interfaceId, const Procedure& procedure, RequiredPointers required,
                  RequiredPointers result, void (*body)(const void*),
                  const void* context) noexcept {
  return atBoundary(interfaceId, required, [&] {
    for (const void* const pointer : result) requirePointer(pointer);
    framed(procedure, [&] { body(context); });
  });
}

}  // namespace zsupport

#include "events/dual_table.h"

#include <oleauto.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "automation/com_ptr.h"
#include "automation/dispatch_values.h"
#include "events/type_information.h"
#include "frame/mdlErrorHandling.h"

// Stubs of ten bytes each: push the number, jump to the common entry. That finds on the stack the
// number, the return address, the sink and the arguments; it leaves with what is the caller's.
asm(R"(
  .text
  .p2align 4
_zsupport_dual_stubs:
  .set number, 0
  .rept 512
  .byte 0x68
  .long number
  .byte 0xE9
  .long zsupport_dual_common - . - 4
  .set number, number + 1
  .endr
zsupport_dual_common:
  leal 8(%esp), %edx
  pushl %edx
  pushl 4(%esp)
  call _zsupport_dual_entry
  addl $12, %esp
  popl %ecx
  addl %eax, %esp
  xorl %eax, %eax
  jmp *%ecx
)");

extern "C" const std::byte zsupport_dual_stubs[];

namespace zsupport {
namespace {

constexpr size_t kStubSize = 10;
constexpr size_t kMostMembers = 512;
constexpr size_t kDispatchMembers = sizeof(EventSinkTable) / sizeof(void*);
constexpr size_t kMostParameters = 64;

// How a value stands on the stack.
struct StackValue {
  VARTYPE type;     // in a VARIANT; VT_EMPTY for what no VARIANT holds
  size_t size;      // in bytes
  size_t outSize;   // of what it points to, if that is only handed out: it comes in as nothing
  bool isArgument;  // of the event; a result is none
};

struct Member {
  DISPID id = 0;
  size_t stackSize = sizeof(EventSink*);
  std::vector<StackValue> values;
};
using Members = std::vector<Member>;

// A table in its block: behind what its members are known by.
struct TableBlock {
  Members* members;
  EventSinkTable head;
};

TableBlock* blockOf(EventSinkTable* table) {
  return reinterpret_cast<TableBlock*>(reinterpret_cast<std::byte*>(table) -
                                       offsetof(TableBlock, head));
}

size_t sizeOf(VARTYPE type) {
  return isOneOf<VT_VARIANT, VT_DECIMAL>(type) ? sizeof(VARIANT)
                                               : dispatch_detail::sizeOfType(type);
}

StackValue plainValue(VARTYPE type) { return {type, std::max(sizeOf(type), size_t{4}), 0, true}; }

StackValue valueOf(ITypeInfo* info, const TYPEDESC& type);

// An enumeration, a record, an interface (of which only pointers are passed), or another name.
StackValue userDefined(ITypeInfo* info, HREFTYPE reference) {
  const auto described =
      obtain<ITypeInfo>([&](ITypeInfo** out) { return info->GetRefTypeInfo(reference, out); });
  const TypeAttributes attributes(described.get());
  if (!attributes) return plainValue(VT_EMPTY);
  switch (attributes->typekind) {
    case TKIND_ENUM:
      return plainValue(VT_I4);
    case TKIND_ALIAS:
      return valueOf(described.get(), attributes->tdescAlias);
    case TKIND_DISPATCH:
    case TKIND_COCLASS:
      return {VT_DISPATCH, 0, 0, true};
    case TKIND_INTERFACE:
      return {attributes->wTypeFlags & TYPEFLAG_FDISPATCHABLE ? VT_DISPATCH : VT_UNKNOWN, 0, 0,
              true};
    default:
      return {VT_EMPTY, (attributes->cbSizeInstance + 3u) & ~3u, 0, true};
  }
}

StackValue valueOf(ITypeInfo* info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_INT:
      return plainValue(VT_I4);
    case VT_UINT:
      return plainValue(VT_UI4);
    case VT_HRESULT:
      return plainValue(VT_ERROR);
    case VT_USERDEFINED:
      return userDefined(info, type.hreftype);
    case VT_SAFEARRAY: {
      const VARTYPE element = valueOf(info, *type.lptdesc).type;
      return plainValue(element == VT_EMPTY ? element : static_cast<VARTYPE>(VT_ARRAY | element));
    }
    case VT_PTR: {
      const StackValue pointee = valueOf(info, *type.lptdesc);
      const bool isInterface = pointee.size == 0;
      const bool isTold = pointee.type != VT_EMPTY && !(pointee.type & VT_BYREF);
      if (isInterface || !isTold)
        return plainValue(isInterface ? pointee.type : static_cast<VARTYPE>(VT_EMPTY));
      StackValue pointer = plainValue(static_cast<VARTYPE>(VT_BYREF | pointee.type));
      pointer.outSize = sizeOf(pointee.type);
      return pointer;
    }
    default:
      return plainValue(type.vt <= VT_UINT ? type.vt : static_cast<VARTYPE>(VT_EMPTY));
  }
}

Member memberOf(ITypeInfo* info, const FUNCDESC& description) {
  Member member;
  member.id = description.memid;
  for (SHORT i = 0; i < description.cParams; ++i) {
    const ELEMDESC& parameter = description.lprgelemdescParam[i];
    const USHORT flags = parameter.paramdesc.wParamFlags;
    StackValue value = valueOf(info, parameter.tdesc);
    if (flags & PARAMFLAG_FIN || !(flags & PARAMFLAG_FOUT)) value.outSize = 0;
    value.isArgument = !(flags & PARAMFLAG_FRETVAL);
    member.stackSize += value.size;
    member.values.push_back(value);
  }
  return member;
}

// The members of an interface, those that it has from others first. False when there is one that no
// stub can serve.
bool readMembers(ITypeInfo* info, Members& members) {
  const TypeAttributes attributes(info);
  if (!attributes) return false;
  if (attributes->guid == IID_IDispatch) return true;
  const auto base = implementedType(info, 0);
  if (!base || !readMembers(base.get(), members)) return false;
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    const MemberDescription description(info, i);
    const size_t place = (kDispatchMembers + members.size()) * sizeof(void*);
    if (!description || description->callconv != CC_STDCALL ||
        static_cast<size_t>(description->oVft) != place ||
        static_cast<size_t>(description->cParams) > kMostParameters) {
      return false;
    }
    members.push_back(memberOf(info, *description.get()));
  }
  return members.size() <= kMostMembers;
}

// What stands at a place on the stack, as an argument of the event.
VARIANTARG argumentAt(const std::byte* place, const StackValue& value) {
  VARIANTARG argument{};
  if (value.type == VT_VARIANT) {
    std::memcpy(&argument, place, sizeof argument);
  } else if (value.type == VT_DECIMAL) {
    std::memcpy(&argument, place, sizeof argument);
    V_VT(&argument) = VT_DECIMAL;
  } else {
    V_VT(&argument) = value.type;
    if (value.type != VT_EMPTY) std::memcpy(&V_UI1(&argument), place, value.size);
  }
  return argument;
}

void raise(const EventSink& sink, const Member& member, const std::byte* place) {
  VARIANTARG arguments[kMostParameters];
  VARIANTARG* first = std::end(arguments);  // last one first, as events have them
  for (const StackValue& value : member.values) {
    void* target = nullptr;
    if (value.outSize) std::memcpy(&target, place, sizeof target);
    if (target) std::memset(target, 0, value.outSize);
    if (value.isArgument) *--first = argumentAt(place, value);
    place += value.size;
  }
  DISPPARAMS parameters = {first, nullptr, static_cast<UINT>(std::end(arguments) - first), 0};
  deliver(sink, member.id, &parameters);
}

}  // namespace

// Called by the stubs: the number of a member, and where on the stack the sink and the arguments
// are. Answers how much of the stack is theirs.
extern "C" size_t zsupport_dual_entry(size_t number, const std::byte* place) noexcept {
  const auto* const sink = *reinterpret_cast<EventSink* const*>(place);
  const Member& member = (*blockOf(sink->table)->members)[number];
  const size_t stackSize = member.stackSize;  // the sink may go meanwhile
  atEntryPoint({kSinkModule, L"Function EventSink_Invoke"}, S_OK, [&]() -> HRESULT {
    raise(*sink, member, place + sizeof sink);
    return S_OK;
  });
  return stackSize;
}

EventSinkTable* makeDualTable(ITypeInfo* dispatchFace, const EventSinkTable& head) noexcept {
  try {
    const auto vtableFace = implementedType(dispatchFace, static_cast<UINT>(-1));
    auto members = std::make_unique<Members>();
    if (!vtableFace || !readMembers(vtableFace.get(), *members)) return nullptr;
    const size_t count = members->size();
    auto* const block = static_cast<TableBlock*>(
        GlobalAlloc(GPTR, sizeof(TableBlock) + count * sizeof(const void*)));
    if (!block) return nullptr;
    block->head = head;
    auto* const entries = reinterpret_cast<const void**>(block + 1);
    for (size_t i = 0; i < count; ++i) entries[i] = zsupport_dual_stubs + i * kStubSize;
    block->members = members.release();
    return &block->head;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void freeDualTable(EventSinkTable* table) noexcept {
  TableBlock* const block = blockOf(table);
  delete block->members;
  GlobalFree(block);
}

}  // namespace zsupport

// The ids of the records in the type library, by which they travel through late binding and arrays.
#pragma once

#include "ZSupport.h"
#include "automation/dispatch_slots.h"

namespace zsupport {

template <>
struct RecordId<VersionStampRecord> {
  static constexpr GUID kId = {
      0xC6C0B0C3, 0x0C0C, 0x4C8E, {0x9B, 0x57, 0x7E, 0x1E, 0x4F, 0x5A, 0x7D, 0x21}};
};
template <>
struct RecordId<ArrayHeader> {
  static constexpr GUID kId = {
      0x1C7C1B62, 0x0B6F, 0x4B7C, {0x8E, 0x43, 0x5D, 0x9E, 0x5B, 0x0F, 0x6A, 0x21}};
};
template <>
struct RecordId<ArrayHeader1D> {
  static constexpr GUID kId = {
      0x92E0A3F4, 0x7D15, 0x4C39, {0xA6, 0xB8, 0x3F, 0x2C, 0x8D, 0x71, 0xE5, 0xB0}};
};
template <>
struct RecordId<SAFEARRAYBOUND> {
  static constexpr GUID kId = {
      0x6A1F0C3D, 0x52B8, 0x4E0B, {0x9D, 0x7A, 0x1B, 0x6F, 0x4C, 0x9E, 0x2D, 0x58}};
};

}  // namespace zsupport

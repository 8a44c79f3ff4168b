// Reading an item by its type, for whoever has no other use for it than to write it again.
#pragma once

#include <cstdint>

#include <qorv/isxf.h>

namespace TestSupport {

inline void CopyBlob(Qorv::CISXFReader& in, Qorv::CISXFWriter& out) {
  Qorv::byteEx blob;
  in.GetBlob(blob);
  out.PutBlob(blob);
}

/// Reads the next item as one of type `tag` and writes it to `out`. False if there is no such type.
inline bool CopyItem(std::uint8_t tag, Qorv::CISXFReader& in, Qorv::CISXFWriter& out) {
  namespace isxfTag = Qorv::isxfTag;
  switch (tag) {  // clang-format off
    case isxfTag::none: in.IgnoreNext(); out.PutVoid(); return true;
    case isxfTag::int8: out.PutInt8(in.GetInt8()); return true;
    case isxfTag::int16: out.PutInt16(in.GetInt16()); return true;
    case isxfTag::int32: out.PutInt32(in.GetInt32()); return true;
    case isxfTag::int64: out.PutInt64(in.GetInt64()); return true;
    case isxfTag::singleFloat: out.PutFloat(in.GetFloat()); return true;
    case isxfTag::doubleFloat: out.PutDouble(in.GetDouble()); return true;
    case isxfTag::longDouble: out.PutLongDouble(in.GetLongDouble()); return true;
    case isxfTag::boolTrue: out.PutBool(in.GetBool()); return true;
    case isxfTag::string: out.PutString(in.GetString()); return true;
    case isxfTag::wideString: out.PutWString(in.GetWString()); return true;
    case isxfTag::blob: CopyBlob(in, out); return true;
    case isxfTag::ctrlCode: out.PutCtrlCode(in.GetCtrlCode()); return true;
    case isxfTag::segNumber: out.PutSegNumber(in.GetSegNumber()); return true;
    case isxfTag::enumeration: out.PutEnum(in.GetEnum()); return true;
    case isxfTag::id: out.PutID(in.GetID()); return true;
    case isxfTag::size: out.PutSize(in.GetSize()); return true;
    case isxfTag::bigSize: out.PutBigSize(in.GetBigSize()); return true;
    case isxfTag::command: out.PutCommand(in.GetCommand()); return true;
    case isxfTag::bigId: out.PutBigID(in.GetBigID()); return true;
    case isxfTag::smallId: out.PutSmallID(in.GetSmallID()); return true;
    case isxfTag::tinyId: out.PutTinyID(in.GetTinyID()); return true;
    case isxfTag::smallEnum: out.PutSmallEnum(in.GetSmallEnum()); return true;
    case isxfTag::smallVersion: out.PutSmallVersion(in.GetSmallVersion()); return true;
    case isxfTag::version: out.PutVersion(in.GetVersion()); return true;
    case isxfTag::eofSegNumber: in.GetEofSegNumber(); out.PutEofSegNumber(); return true;
    case isxfTag::bigSegNumber: out.PutBigSegNumber(in.GetBigSegNumber()); return true;
    case isxfTag::eofBigSegNumber: in.GetEofBigSegNumber(); out.PutEofBigSegNumber(); return true;
    case isxfTag::compactCommand: out.PutCompactCommand(in.GetCompactCommand()); return true;
    default: return false;
  }  // clang-format on
}

}  // namespace TestSupport

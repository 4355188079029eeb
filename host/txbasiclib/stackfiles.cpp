#include <boost/make_shared.hpp>

#include "kcommon/kerr.h"
#include "txbasiclib/basedatastackutils.h"

namespace Tamrin::TesseraBasic::BaseDataStackUtils {
namespace {

using StackPtr = boost::shared_ptr<KgdaBaseDataStack>;

Kgda_PlainText PlainTextOf(std::uint32_t code) {
  switch (code) {
    case KgdaString:
      return Kgda_PlainText::Texts;
    case KgdaComplex64:
    case KgdaComplex128:
      return Kgda_PlainText::Complex;
    case SimpleDataTypeCode::kColor:
      return Kgda_PlainText::Colors;
    default:
      return Kgda_PlainText::Numbers;
  }
}

StackPtr Load(const std::wstring& fileName, const std::wstring& typeName, KgdaBaseDataStack::Kind kind,
              KerrException& error) {
  const std::uint32_t code = PixelTypeUtils::SimpleString2PixelType(typeName);
  if (code == SimpleDataTypeCode::kNone && !typeName.empty())
    error.Throw(__LINE__, L"There is no element type \"" + typeName + L"\".");
  KgdaBaseDataStack stack = kgda_BaseDataStackReadAscii(fileName, kind, PlainTextOf(code), error);
  error.Check(__LINE__);
  const auto type = static_cast<Kgda_PixelType>(code);
  if (code == SimpleDataTypeCode::kNone || stack.GetLayer(0).pixelType == type)
    return boost::make_shared<KgdaBaseDataStack>(std::move(stack));
  return boost::make_shared<KgdaBaseDataStack>(ConvertBaseDataStackPixelType(stack, type));
}

}  // namespace

StackPtr LoadFromMtxFile(const std::wstring& fileName, const std::wstring& typeName) {
  KerrException error(L"txbasiclib\\basedatastackutils", L"Tamrin::TesseraBasic::BaseDataStackUtils::LoadFromMtxFile");
  return Load(fileName, typeName, KgdaBaseDataStack::KindMatrix, error);
}

StackPtr LoadFromTblFile(const std::wstring& fileName, const std::wstring& typeName) {
  KerrException error(L"txbasiclib\\basedatastackutils", L"Tamrin::TesseraBasic::BaseDataStackUtils::LoadFromTblFile");
  return Load(fileName, typeName, KgdaBaseDataStack::KindTable, error);
}

StackPtr LoadFromScaFile(const std::wstring& fileName, const std::wstring& typeName) {
  KerrException error(L"txbasiclib\\basedatastackutils", L"Tamrin::TesseraBasic::BaseDataStackUtils::LoadFromScaFile");
  return Load(fileName, typeName, KgdaBaseDataStack::KindScalar, error);
}

}  // namespace Tamrin::TesseraBasic::BaseDataStackUtils

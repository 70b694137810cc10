#include "sources/text_source.h"

#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "kestrel/runtime_error.h"
#include "sources/text_file.h"
#include "sources/text_line.h"
#include "sources/text_recordset.h"

namespace kestrel {

namespace {

template <class Work>
auto RaisingOutOfMemory(Work&& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    throw RuntimeError(ErrorNumber::kOutOfMemory);
  } catch (const std::length_error&) {
    throw RuntimeError(ErrorNumber::kOutOfMemory);
  }
}

RecordsetPtr RecordsOf(const std::string& path, const TextFormat& format, TextFile::Extent extent) {
  return RaisingOutOfMemory([&] {
    TextFile file = TextFile::Load(path, format, extent);
    std::vector<std::string> column_names = TextFieldNames(file.TakeFirstLine(), format);
    column_names.pop_back();
    return std::make_shared<TextRecordset>(std::move(file), std::move(column_names), DelimiterOf(format),
                                           QualifierOf(format));
  });
}

}  // namespace

std::vector<std::string> ReadTextFieldNames(const std::string& path, const TextFormat& format) {
  return RaisingOutOfMemory([&] {
    return TextFieldNames(TextFile::Load(path, format, TextFile::Extent::kFirstLine).TakeFirstLine(), format);
  });
}

RecordsetPtr OpenTextSource(const std::string& path, const TextFormat& format) {
  return RecordsOf(path, format, TextFile::Extent::kWhole);
}

RecordsetPtr OpenTextBeginning(const std::string& path, const TextFormat& format) {
  return RecordsOf(path, format, TextFile::Extent::kBeginning);
}

}  // namespace kestrel

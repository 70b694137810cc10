#include "sources/apart_session.h"

namespace kestrel {

ApartSession::ApartSession(const Session& of) {
  const SourceKind* kind = KindOf(of);
  if (kind != nullptr && kinds_.Find(kind->name) == nullptr) kinds_.Add(*kind);
  for (std::string Session::*text :
       {&Session::Provider, &Session::FileName, &Session::Database, &Session::Table, &Session::FileFormat,
        &Session::Delimiter, &Session::TextRecognition, &Session::Server, &Session::User, &Session::Password}) {
    session_.*text = of.*text;
  }
  session_.ColumnHeadings = of.ColumnHeadings;
}

}  // namespace kestrel

#include "support/recording_object.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"

namespace kestrel::testing {
namespace {

std::string_view KindName(CallKind kind) {
  switch (kind) {
    case CallKind::kMethod: return "Call";
    case CallKind::kGet: return "Get";
    case CallKind::kLet: return "Let";
    case CallKind::kSet: return "Set";
  }
  return "?";
}

}  // namespace

std::string Describe(const Value& value) {
  if (value.IsUnset()) return "Empty";
  if (value.IsNull()) return "Null";
  if (value.IsMissing()) return "Missing";
  if (value.IsBool()) return value.ToBool() ? "True" : "False";
  if (value.IsText()) return '"' + std::string(value.TextOrEmpty()) + '"';
  if (value.IsObject()) return value.ToObject() == nullptr ? "Nothing" : "Object";
  return value.ToText();
}

std::string RecordedCall::ToText() const {
  std::string text(KindName(kind));
  text += ' ';
  if (!object.empty()) text += object + '.';
  text += name;
  std::string list;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) list += ", ";
    if (by_reference[i]) list += "ByRef ";
    list += Describe(arguments[i]);
  }
  if (kind == CallKind::kMethod) return text + '(' + list + ')';
  return list.empty() ? text : text + ' ' + list;
}

RecordingObject::RecordingObject(std::string label, std::shared_ptr<CallJournal> journal)
    : label_(std::move(label)),
      journal_(journal != nullptr ? std::move(journal) : std::make_shared<CallJournal>()) {}

RecordingObject& RecordingObject::Method(std::string_view name, Handler handler) {
  return Bind(name, {CallKind::kMethod, CallKind::kGet}, handler);
}

RecordingObject& RecordingObject::Returns(std::string_view name, Value result) {
  return Method(name, [result = std::move(result)](std::span<Argument>) { return result; });
}

RecordingObject& RecordingObject::Get(std::string_view name, Value value) {
  return Get(name, [value = std::move(value)](std::span<Argument>) { return value; });
}

RecordingObject& RecordingObject::Let(std::string_view name, Handler handler) {
  return Bind(name, {CallKind::kLet}, handler);
}

RecordingObject& RecordingObject::Set(std::string_view name, Handler handler) {
  return Bind(name, {CallKind::kSet}, handler);
}

RecordingObject& RecordingObject::Raises(std::string_view name, RuntimeError error) {
  const Handler raise = [error = std::move(error)](std::span<Argument>) -> Value { throw error; };
  Member& member = MemberFor(name);
  const bool told = std::any_of(std::begin(member.handlers), std::end(member.handlers),
                                [](const std::optional<Handler>& handler) { return handler.has_value(); });
  for (std::optional<Handler>& handler : member.handlers) {
    if (!told || handler.has_value()) handler = raise;
  }
  return *this;
}

std::vector<std::string> RecordingObject::Lines() const {
  std::vector<std::string> lines;
  for (const RecordedCall& call : *journal_) lines.push_back(call.ToText());
  return lines;
}

std::size_t RecordingObject::CountOf(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(
      journal_->begin(), journal_->end(),
      [&](const RecordedCall& call) { return call.object == label_ && EqualsIgnoringCase(call.name, name); }));
}

std::optional<MemberId> RecordingObject::FindMember(std::string_view name) const {
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (EqualsIgnoringCase(members_[i].name, name)) return static_cast<MemberId>(i);
  }
  return std::nullopt;
}

Value RecordingObject::Invoke(MemberId member, CallKind kind, std::span<Argument> arguments) {
  const auto index = static_cast<std::size_t>(member);
  if (index >= members_.size()) return LacksMember();
  const std::optional<Handler>& handler = members_[index].handlers[static_cast<std::size_t>(kind)];
  if (!handler.has_value()) return LacksMember();

  RecordedCall call{label_, kind, members_[index].name, {}, {}};
  for (const Argument& argument : arguments) {
    call.arguments.push_back(argument.Get());
    call.by_reference.push_back(argument.IsReference());
  }
  journal_->push_back(std::move(call));
  // A copy: the handler may tell this object new members.
  const Handler run = *handler;
  return run ? run(arguments) : Value();
}

RecordingObject::Member& RecordingObject::MemberFor(std::string_view name) {
  if (const auto known = FindMember(name)) return members_[static_cast<std::size_t>(*known)];
  return members_.emplace_back(Member{std::string(name), {}});
}

RecordingObject& RecordingObject::Bind(std::string_view name, std::initializer_list<CallKind> kinds,
                                       const Handler& handler) {
  Member& member = MemberFor(name);
  for (const CallKind kind : kinds) member.handlers[static_cast<std::size_t>(kind)] = handler;
  return *this;
}

}  // namespace kestrel::testing

// The service, spoken to as a client does: the real process, its frames and its end.
#include <gmock/gmock.h>

#include <random>

#include "cli/end_to_end_fixture.h"
#include "cli/message_frames.h"
#include "support/json_schema.h"
#include "support/service_client.h"

namespace kestrel {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using testing::ServiceClient;

class Serve : public EndToEnd {
 protected:
  static std::vector<std::string> Command() {
    return {testing::BuiltProgram("kestrel-import"), "serve", "--stdio"};
  }
  json Folder() const { return {{"folder", host()}}; }
  static int CodeOf(const json& answer) {
    return answer.contains("error") ? answer["error"]["code"].get<int>() : 0;
  }
  static std::string MessageOf(const json& answer) {
    return answer.contains("error") ? answer["error"]["message"].get<std::string>() : "";
  }
};

TEST_F(Serve, AWholeConversation) {
  ServiceClient client(Command());
  const json initialized = client.Call(1, "initialize", Folder());
  EXPECT_EQ(initialized["result"]["serverInfo"]["name"], "kestrel-import");
  client.Send({{"jsonrpc", "2.0"}, {"method", "initialized"}});

  EXPECT_GE(client.Call(2, "list")["result"]["rows"].size(), 2u);
  const json columns = client.Call(3, "columns", {{"spec", "Messe"}});
  EXPECT_EQ(columns["result"]["rows"][0]["number"], 1);
  const json preview = client.Call(4, "preview", {{"spec", "Messe"}, {"records", 2}});
  EXPECT_EQ(preview["result"]["rows"].size(), 2u);
  EXPECT_EQ(client.Call(5, "check", {{"spec", "Kundenliste"}, {"data", true}})["result"]["exitStatus"], 1);

  const json run = client.Call(6, "run", {{"spec", "Kundenliste"}, {"user", "4711"}});
  const json schema = json::parse(ReadWholeFile(testing::InSourceTree("docs/json/run.schema.json")));
  ASSERT_EQ(run["result"]["rows"].size(), 1u);
  EXPECT_EQ(testing::SchemaFault(schema, run["result"]["rows"][0]), "");
  EXPECT_EQ(run["result"]["rows"][0]["storedNew"], 997);
  EXPECT_EQ(run["result"]["exitStatus"], 1);
  bool has_progress = false;
  for (const json& notification : client.notifications) {
    if (notification["method"] != "$/progress") continue;
    has_progress = true;
    EXPECT_EQ(notification["params"]["token"], 6);
  }
  EXPECT_TRUE(has_progress);

  EXPECT_EQ(client.Call(7, "runs", {{"last", true}})["result"]["rows"][0]["user"], "4711");
  const json undo = client.Call(8, "undo", {{"run", run["result"]["rows"][0]["run"]}});
  EXPECT_EQ(undo["result"]["rows"].back()["removed"], 997) << undo;
  EXPECT_EQ(Query("SELECT count(*) FROM Kunden"), "0\n");

  EXPECT_EQ(client.Call(9, "shutdown")["result"], nullptr);
  EXPECT_EQ(CodeOf(client.Call(10, "list")), -32600) << "behind shutdown nothing is done";
  client.Send({{"jsonrpc", "2.0"}, {"method", "exit"}});
  EXPECT_EQ(client.Close(), 0);
}

TEST_F(Serve, ACancelledImportStopsInOrderAndTheServiceGoesOn) {
  ServiceClient client(Command());
  client.Call(1, "initialize", Folder());
  // It waits until it is cancelled, so no luck is needed.
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  client.Send({{"jsonrpc", "2.0"}, {"id", 2}, {"method", "run"}, {"params", {{"spec", "Kundenliste"}}}});
  client.Send({{"jsonrpc", "2.0"}, {"id", "three"}, {"method", "list"}});
  client.AwaitNotification("window/logMessage");
  client.Send({{"jsonrpc", "2.0"}, {"method", "$/cancelRequest"}, {"params", {{"id", "three"}}}});
  client.Send({{"jsonrpc", "2.0"}, {"method", "$/cancelRequest"}, {"params", {{"id", 99}}}});
  client.Send({{"jsonrpc", "2.0"}, {"method", "$/cancelRequest"}, {"params", {{"id", 2}}}});
  const json run = client.AwaitAnswer(2);
  EXPECT_EQ(run["result"]["exitStatus"], 5) << run;
  EXPECT_EQ(run["result"]["rows"][0]["aborted"], true);
  EXPECT_EQ(CodeOf(client.AwaitAnswer("three")), -32800) << "cancelled before it began";
  EXPECT_THAT(client.AwaitNotification("window/logMessage")["params"]["message"].get<std::string>(),
              HasSubstr("Kennung 99"));
  other->Rollback();
  EXPECT_EQ(client.Call(4, "run", {{"spec", "Kundenliste"}})["result"]["rows"][0]["storedNew"], 997)
      << "what was cancelled before is forgotten";
}

TEST_F(Serve, WhatIsWrongIsAnsweredByItsCodeInGerman) {
  ServiceClient client(Command());
  EXPECT_EQ(CodeOf(client.Call(1, "list")), -32002);
  client.Call(2, "initialize", Folder());
  EXPECT_EQ(CodeOf(client.Call(3, "initialize", Folder())), -32600);
  const json unknown = client.Call(4, "lsit");
  EXPECT_EQ(CodeOf(unknown), -32601);
  EXPECT_THAT(MessageOf(unknown), HasSubstr("Meinten Sie 'list'?"));
  const json misspelt = client.Call(5, "preview", {{"spec", "Messe"}, {"rekords", 3}});
  EXPECT_EQ(CodeOf(misspelt), -32602);
  EXPECT_THAT(MessageOf(misspelt), HasSubstr("Meinten Sie 'records'?"));
  EXPECT_EQ(MessageOf(client.Call(6, "check")), "spec fehlt.");
  EXPECT_EQ(MessageOf(client.Call(7, "check", {{"spec", 1}})), "spec ist kein Text.");
  EXPECT_THAT(MessageOf(client.Call(8, "undo", {{"run", 0}})),
              HasSubstr("ganze Zahl von 1 bis 2.147.483.647."));
  EXPECT_THAT(MessageOf(client.Call(9, "preview", {{"spec", "Messe"}, {"records", 1e30}})),
              HasSubstr("ganze Zahl"));
  const json missing = client.Call(10, "run", {{"spec", "Kundenlsite"}});
  EXPECT_EQ(CodeOf(missing), -32803);
  EXPECT_THAT(MessageOf(missing), HasSubstr("Meinten Sie 'Kundenliste'?"));
  const json of_input = client.Call(11, "preview", {{"spec", "Messe"}, {"file", "-"}});
  EXPECT_EQ(CodeOf(of_input), -32602);
  EXPECT_THAT(MessageOf(of_input), HasSubstr("Standardeingabe"));
  EXPECT_EQ(CodeOf(client.Call(12, "run", {{"spec", "Messe"}, {"user", "../x"}})), -32602);
  EXPECT_EQ(CodeOf(client.Call(13, "run", {{"spec", "Messe"}, {"rejects", "-"}})), -32602);
  EXPECT_EQ(CodeOf(client.Call(16, "check", {{"spec", std::string(5000, 'x')}})), -32602);
  EXPECT_EQ(CodeOf(client.Call(14, "runs", {{"run", 1}, {"last", true}})), -32602);
  EXPECT_EQ(CodeOf(client.Call(15, "$/cancelRequest", {{"id", 14}})), -32601) << "it has no answer of its own";
}

TEST_F(Serve, BadMessagesAreAnsweredAndTheNextOneIsRead) {
  ServiceClient client(Command());
  const std::vector<std::pair<std::string, int>> bodies = {
      {"", -32700},
      {"{", -32700},
      {"\xff\xfe", -32700},
      {"1e999999", -32700},
      {"[]", -32600},
      {"null", -32600},
      {"{}", -32600},
      {"{\"jsonrpc\":\"1.0\",\"id\":1,\"method\":\"list\"}", -32600},
      {"{\"jsonrpc\":\"2.0\",\"id\":{},\"method\":\"list\"}", -32600},
      {"{\"jsonrpc\":\"2.0\",\"id\":1.5,\"method\":\"list\"}", -32600},
      {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":7}", -32600},
      {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"list\",\"params\":[1]}", -32602},
      {std::string(100'000, '['), -32600},
      {std::string(cli::kLongestMessage + 10, ' '), -32600}};
  for (const auto& [body, code] : bodies) {
    client.SendBody(body);
    const std::optional<json> answer = client.Receive();
    ASSERT_TRUE(answer) << body.substr(0, 60);
    EXPECT_EQ(CodeOf(*answer), code) << body.substr(0, 60);
    EXPECT_NE(MessageOf(*answer), "");
  }
  EXPECT_TRUE(client.Call(50, "initialize", Folder()).contains("result"));
}

TEST_F(Serve, DamagedStreamsNeverEndItByASignal) {
  std::mt19937 random(4711);
  const auto framed = [](const json& message) { return cli::Framed(message.dump()); };
  const std::string whole =
      framed({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "initialize"}, {"params", Folder()}}) +
      framed({{"jsonrpc", "2.0"}, {"id", 2}, {"method", "preview"}, {"params", {{"spec", "Messe"}}}}) +
      framed({{"jsonrpc", "2.0"}, {"method", "$/cancelRequest"}, {"params", {{"id", 2}}}}) +
      framed({{"jsonrpc", "2.0"}, {"id", 3}, {"method", "columns"}, {"params", {{"spec", "Messe"}}}});
  for (int round = 0; round < 40; ++round) {
    std::string bytes = whole;
    for (int damage = 0; damage < 3; ++damage) bytes[random() % bytes.size()] = static_cast<char>(random());
    if (round % 4 == 0) bytes.resize(random() % bytes.size());
    ServiceClient client(Command());
    client.Write(bytes);
    EXPECT_EQ(client.Close(), 1) << "without exit, round " << round;
    while (client.Receive()) {
    }
  }
}

TEST_F(Serve, WhatWasAskedIsAnsweredAlthoughNothingMoreComes) {
  ServiceClient client(Command());
  client.Send({{"jsonrpc", "2.0"}, {"id", 1}, {"method", "initialize"}, {"params", Folder()}});
  client.Send(
      {{"jsonrpc", "2.0"}, {"id", 2}, {"method", "run"}, {"params", {{"spec", "Messe"}, {"test", true}}}});
  EXPECT_EQ(client.Close(), 1) << "as nobody said exit";
  client.AwaitAnswer(1);
  EXPECT_EQ(client.AwaitAnswer(2)["result"]["exitStatus"], 0);
  EXPECT_FALSE(client.Receive());
}

TEST_F(Serve, AnInputThatEndsWithinAMessageIsTold) {
  for (const char* end :
       {"Content-Le", "Content-Length: 50\r\n\r\n", "Content-Length: 50\r\n\r\n{\"jsonrpc\":"}) {
    ServiceClient client(Command());
    client.Write(end);
    EXPECT_EQ(client.Close(), 1);
    const std::optional<json> told = client.Receive();
    ASSERT_TRUE(told) << end;
    EXPECT_EQ(CodeOf(*told), -32700);
    EXPECT_FALSE(client.Receive());
  }
}

TEST_F(Serve, WhatWaitsIsBoundedInBytes) {
  ServiceClient client(Command());
  client.Call(1, "initialize", Folder());
  // Nothing that waits is taken before it is cancelled.
  const ConnectionPtr other = OpenConnection(host() + "/kestrel.db");
  other->Begin();
  client.Send({{"jsonrpc", "2.0"}, {"id", 2}, {"method", "run"}, {"params", {{"spec", "Kundenliste"}}}});
  client.AwaitNotification("window/logMessage");
  const std::string long_name(cli::kLongestMessage - 200, 'x');
  constexpr int kSent = 6;
  for (int id = 0; id < kSent; ++id) {
    client.Send({{"jsonrpc", "2.0"}, {"id", 100 + id}, {"method", "check"}, {"params", {{"spec", long_name}}}});
  }
  client.Send({{"jsonrpc", "2.0"}, {"method", "$/cancelRequest"}, {"params", {{"id", 2}}}});
  client.AwaitAnswer(2);
  int refused = 0;
  for (int id = 0; id < kSent; ++id) refused += CodeOf(client.AwaitAnswer(100 + id)) == -32600 ? 1 : 0;
  EXPECT_EQ(refused, 2);
  other->Rollback();
  EXPECT_EQ(client.Call(3, "list")["result"]["exitStatus"], 0);
}

// The messages of the page are sent as they stand there.
TEST_F(Serve, TheExampleOfItsPageIsTrue) {
  const std::string page = ReadWholeFile(testing::InSourceTree("docs/serve.md"));
  ServiceClient client(Command());
  int answered = 0;
  for (const std::string_view line : Split(page, '\n')) {
    if (!line.starts_with("--> ")) continue;
    const json message = json::parse(ReplaceAll(line.substr(4), "/srv/host", host()));
    client.Send(message);
    if (!message.contains("id")) continue;
    EXPECT_TRUE(client.AwaitAnswer(message["id"]).contains("result")) << line;
    ++answered;
  }
  EXPECT_GE(answered, 5);
  EXPECT_EQ(client.Close(), 0);
}

}  // namespace
}  // namespace kestrel

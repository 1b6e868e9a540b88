#include "config/engine.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>

#include "config/differences.h"
#include "failing_calls.h"
#include "support.h"

namespace host::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::ThrowsMessage;

class EngineTest : public ::testing::Test {
 protected:
  std::string PortOf(const host::SharedTree& tree) {
    lyd_node* port = nullptr;
    lyd_find_path(tree.get(), "/confd_dyncfg:confdConfig/snmpAgent/port", 0, &port);
    return port == nullptr ? "none" : lyd_get_value(port);
  }

  host::CommitResult Replace(const std::string& json) {
    return engine_.ReplaceByFile(folder_.Write("startup.json", json));
  }

  void ExpectNothingChanged(const std::string& saved) {
    EXPECT_EQ(PortOf(engine_.Running()), "1161");
    EXPECT_EQ(host::ReadFile(file_), saved);
    EXPECT_EQ(deliveries_, 1);
  }

  TestFolder folder_;
  std::string file_ = folder_.Path("running.json");
  int deliveries_ = 0;
  host::Engine engine_{MODELS_FOLDER, file_, [this](auto&) { ++deliveries_; }};
};

TEST_F(EngineTest, FirstStartHasTheDefaultsAndSavesNothing) {
  const host::LoadResult result = engine_.LoadStored();
  EXPECT_FALSE(result.found);
  EXPECT_EQ(result.refused, "");
  EXPECT_EQ(PortOf(engine_.Running()), "161");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(EngineTest, ReplacementIsSavedAndDelivered) {
  const host::CommitResult result = Replace(AgentJson(R"("port": 1161)"));
  EXPECT_TRUE(result.saved);
  EXPECT_TRUE(result.delivered);
  EXPECT_EQ(deliveries_, 1);
  EXPECT_EQ(PortOf(engine_.Running()), "1161");
}

TEST_F(EngineTest, OnlyExplicitNodesAreSaved) {
  Replace(AgentJson(R"("port": 1161)"));
  EXPECT_THAT(host::ReadFile(file_), AllOf(HasSubstr("1161"), Not(HasSubstr("enabled"))));
}

TEST_F(EngineTest, ASaveOfTheCallersTakesThePlaceOfTheFile) {
  std::string saved;
  bool fails = false;
  const auto save = [&](const std::string& text, const host::CommitRecord& record) {
    EXPECT_EQ(record.changes, "set /confdConfig/snmpAgent/port");
    if (fails) throw std::runtime_error("no room");
    saved = text;
  };
  host::Engine engine(MODELS_FOLDER, file_, nullptr, nullptr, "", save);
  const auto commit = [&engine](const std::string& port) {
    engine.Commit(host::ParseTree(engine.Models().Context(), AgentJson("\"port\": " + port)));
  };
  commit("1161");
  EXPECT_EQ(saved, host::PrintTree(engine.Running().get()));
  fails = true;
  EXPECT_THAT([&] { commit("1162"); }, ThrowsMessage<std::runtime_error>(HasSubstr("no room")));
  EXPECT_EQ(PortOf(engine.Running()), "1161");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(EngineTest, SavedConfigurationIsThereAfterARestart) {
  Replace(AgentJson(R"("port": 1161, "extraIpPorts": ["10.0.0.1:161"])"));
  host::Engine restarted(MODELS_FOLDER, file_, nullptr);
  const host::LoadResult result = restarted.LoadStored();
  EXPECT_TRUE(result.found);
  EXPECT_EQ(result.refused, "");
  EXPECT_EQ(host::PrintTree(restarted.Running().get()), host::PrintTree(engine_.Running().get()));
  EXPECT_THAT(host::Differences(restarted.Models(), restarted.Running().get(),
                                restarted.CopyRunning().get()),
              IsEmpty());
}

TEST_F(EngineTest, ReplacementThatChangesNothingSavesAndDeliversNothing) {
  const std::string json = AgentJson(R"("port": 1161)");
  Replace(json);
  std::filesystem::remove(file_);
  const host::CommitResult result = Replace(json);
  EXPECT_FALSE(result.saved);
  EXPECT_FALSE(result.delivered);
  EXPECT_EQ(deliveries_, 1);
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(EngineTest, DefaultThatBecomesExplicitIsSavedAndNotDelivered) {
  const host::CommitResult result = Replace(AgentJson(R"("port": 161)"));
  EXPECT_TRUE(result.saved);
  EXPECT_FALSE(result.delivered);
  EXPECT_EQ(deliveries_, 0);
  EXPECT_THAT(host::ReadFile(file_), HasSubstr("\"port\": 161"));
}

TEST_F(EngineTest, RefusedFileChangesNothing) {
  Replace(AgentJson(R"("port": 1161)"));
  const std::string saved = host::ReadFile(file_);
  EXPECT_THAT([&] { Replace(AgentJson(R"("port": 0)")); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr(folder_.Path("startup.json")),
                        HasSubstr("/confd_dyncfg:confdConfig/snmpAgent/port"),
                        HasSubstr("line 1, "), HasSubstr("expected 1 to 65535"))));
  EXPECT_THROW(Replace(AgentJson(R"("port": 1, "port": 2)")), std::runtime_error);
  ExpectNothingChanged(saved);
}

TEST_F(EngineTest, FileThatCannotBeReadChangesNothing) {
  Replace(AgentJson(R"("port": 1161)"));
  const std::string saved = host::ReadFile(file_);
  for (const std::string& path : {folder_.Path("absent.json"), folder_.Path()}) {
    EXPECT_THAT([&] { engine_.ReplaceByFile(path); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot read " + path)));
  }
  ExpectNothingChanged(saved);
}

TEST_F(EngineTest, FailedSaveChangesNothing) {
  Replace(AgentJson(R"("port": 1161)"));
  std::filesystem::remove(file_);
  std::filesystem::create_directory(file_);
  EXPECT_THAT([&] { Replace(AgentJson(R"("port": 1162)")); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot replace " + file_)));
  EXPECT_EQ(PortOf(engine_.Running()), "1161");
  EXPECT_EQ(deliveries_, 1);
}

TEST_F(EngineTest, EditedCopyIsCommitted) {
  Replace(AgentJson(R"("port": 1161)"));
  host::Tree candidate = engine_.CopyRunning();
  ASSERT_EQ(lyd_new_path(candidate.get(), nullptr, "/confd_dyncfg:confdConfig/snmpAgent/port",
                         "1163", LYD_NEW_PATH_UPDATE, nullptr),
            LY_SUCCESS);
  EXPECT_TRUE(engine_.Commit(std::move(candidate)).delivered);
  EXPECT_EQ(PortOf(engine_.Running()), "1163");
}

TEST_F(EngineTest, InvalidCandidateIsRefused) {
  host::Tree candidate = engine_.CopyRunning();
  ASSERT_EQ(lyd_new_path(candidate.get(), nullptr,
                         "/SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB/snmpCommunityTable/"
                         "snmpCommunityEntry[snmpCommunityIndex='a']",
                         nullptr, 0, nullptr),
            LY_SUCCESS);
  EXPECT_THAT([&] { engine_.Commit(std::move(candidate)); },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr("Mandatory node"), HasSubstr("[snmpCommunityIndex='a']"))));
  EXPECT_EQ(deliveries_, 0);
}

class StoredFile : public EngineTest {
 protected:
  void ExpectMovedAside(const std::string& reason, const std::string& name) {
    const host::LoadResult result = engine_.LoadStored();
    EXPECT_FALSE(result.found);
    EXPECT_THAT(result.refused,
                AllOf(HasSubstr(file_), HasSubstr(folder_.Path(name)), HasSubstr(reason)));
    EXPECT_EQ(PortOf(engine_.Running()), "161");
    EXPECT_FALSE(std::filesystem::exists(file_));
  }
};

TEST_F(StoredFile, IsLoadedWithoutDelivery) {
  folder_.Write("running.json", AgentJson(R"("port": 1161)"));
  EXPECT_TRUE(engine_.LoadStored().found);
  EXPECT_EQ(PortOf(engine_.Running()), "1161");
  EXPECT_EQ(deliveries_, 0);
}

TEST_F(StoredFile, DamagedIsMovedAside) {
  folder_.Write("running.json", R"({"confd_dyncfg:confdConfig": {"snm)");
  ExpectMovedAside("Unexpected end-of-input", "running.json.refused");
  folder_.Write("running.json", "");
  ExpectMovedAside("no content", "running.json.refused.1");
  EXPECT_EQ(host::ReadFile(folder_.Path("running.json.refused")),
            R"({"confd_dyncfg:confdConfig": {"snm)");
}

TEST_F(StoredFile, RefusedByTheModelsIsMovedAside) {
  folder_.Write("running.json", AgentJson(R"("colour": "red")"));
  ExpectMovedAside("unknown element 'colour'", "running.json.refused");
}

TEST_F(StoredFile, ThatIsAFolderStaysWhereItIs) {
  std::filesystem::create_directory(file_);
  EXPECT_THAT([this] { engine_.LoadStored(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("Is a directory")));
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
}

TEST_F(StoredFile, ThatCannotBeReadOnceStaysWhereItIs) {
  const std::string json = AgentJson(R"("port": 1161)");
  folder_.Write("running.json", json);
  for (const char* call : {"open", "fstat", "read"}) {
    for (const int error : {EIO, EMFILE, ENOMEM, EACCES}) {
      const FailingCall failing({call}, 0, error);
      EXPECT_THROW(engine_.LoadStored(), std::runtime_error) << call << " " << error;
      EXPECT_THAT(folder_.Names(), ElementsAre("running.json"));
    }
    const FailingCall interrupted({call}, 0, EINTR);
    EXPECT_TRUE(engine_.LoadStored().found);
    EXPECT_TRUE(interrupted.HasFailed());
  }
  EXPECT_EQ(host::ReadFile(file_), json);
  EXPECT_EQ(PortOf(engine_.Running()), "1161");
}

TEST_F(StoredFile, SaveAfterwardsLeavesTheRefusedOne) {
  folder_.Write("running.json", "damaged");
  engine_.LoadStored();
  Replace(AgentJson(R"("port": 1161)"));
  EXPECT_THAT(folder_.Names(), ElementsAre("running.json", "running.json.refused", "startup.json"));
  EXPECT_EQ(host::ReadFile(folder_.Path("running.json.refused")), "damaged");
}

TEST(StoredFileOnAForeignDisk, ThatCannotBeMovedAside) {
  host::Engine engine(MODELS_FOLDER, "/proc/version", nullptr);
  EXPECT_THAT([&] { engine.LoadStored(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot move aside /proc/version")));
}

}  // namespace
}  // namespace host::test

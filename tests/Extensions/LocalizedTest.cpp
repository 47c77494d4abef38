#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "TQFoundation/Platform/Ports/Log.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using platform::Bundle;

/// Collects what is logged while it lives.
class LoggedLines {
 public:
  LoggedLines() {
    platform::Log::setSink([this](const platform::LogLine& line) { lines.emplace_back(line.message); });
  }
  ~LoggedLines() { platform::Log::setSink({}); }
  LoggedLines(const LoggedLines&) = delete;
  LoggedLines& operator=(const LoggedLines&) = delete;

  std::vector<std::string> lines;
};

class Localized : public testing::Test {
 protected:
  void write(const std::string& language, const std::string& table) {
    fs::create_directory(folder_ / (language + ".lproj"));
    writeFile(folder_ / (language + ".lproj/Localizable.strings"), table);
  }

  // What a table says of a key.
  std::string read(const std::string& table, const std::string& key) {
    write("en", table);
    return localized(key, Bundle(folder_.path()));
  }

  TemporaryFolder folder_;
  LoggedLines log_;
};

TEST_F(Localized, ReadsWhatTheFormatAllows) {
  const std::string table =
      "\xEF\xBB\xBF/* a \"comment\" = \"x\"; ** // */ \"a\"=\"1\";// \"a\" = \"no\";\r"
      "\"b\" /**/ = /**/ '2' ;\n plain.Key-1 = $v/a_l:ue; \"alone\";\n"
      "\"\" = \"empty key\"; 'a\"b' = \"\";\n \"twice\" = \"1\"; \"twice\" = \"2\";"
      "\"escapes\" = \"\\\"\\\\\\n\\t\\r\\q\\101\\u41g\\0011\\u00e9\\U20AC\\Ud83D\\ude00\";"
      "\"lines\" = \"1\n2\\\n3\"; \"\\u006bey\" = \"\xC3\xA4\"; //";
  const std::pair<std::string, std::string> cases[] = {
      {"a", "1"},
      {"b", "2"},
      {"plain.Key-1", "$v/a_l:ue"},
      {"alone", "alone"},
      {"", "empty key"},
      {"a\"b", ""},
      {"twice", "2"},
      {"escapes", "\"\\\n\t\rqAAg\0011\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"lines", "1\n2\n3"},
      {"key", "\xC3\xA4"},
      {"no such key", "no such key"}};
  for (const auto& [key, text] : cases) EXPECT_EQ(read(table, key), text) << key;
  EXPECT_TRUE(log_.lines.empty());
}

TEST_F(Localized, ReadsUTF16OfBothOrders) {
  EXPECT_EQ(read("\xFF\xFE\"\0k\0\"\0=\0\"\0=\xD8\x00\xDE\xAC\x20\"\0;\0"s, "k"),
            "\xF0\x9F\x98\x80\xE2\x82\xAC");
  EXPECT_EQ(read("\xFE\xFF\0k\0=\0\"\x20\xAC\0\"\0;"s, "k"), "\xE2\x82\xAC");
}

TEST_F(Localized, GivesTheKeysOfABrokenTableBackAndNamesItsLineOnce) {
  const std::pair<std::string, int> cases[] = {{"\"k\" = \"v\";\n\n\"a\" = \"b\"", 3},
                                               {"k = v;\r\n\r\na = b = c;", 3},
                                               {"k = v;\r\ra = ;", 3},
                                               {"k = v;\n= b;", 2},
                                               {"k = v;\n\"a\n\nb", 2},
                                               {"k = v;\n/* \n\n", 2},
                                               {"k = v; \"a\" = \"\\", 1},
                                               {"k = v;\n\"a\" = \"\\U\";", 2},
                                               {"k = v;\n\"a\" = \"\\ud83d\";", 2},
                                               {"k = v;\n\"a\" = \"\\ud83d\\u0041\";", 2},
                                               {"k = v;\n\"a\" = \"\\ude00\";", 2},
                                               {"k = v;\n\"a\" = \"\\200\";", 2},
                                               {"k = v;\n\"\xC3\" = b;", 2},
                                               {"k = v;\n\"\xED\xA0\x80\" = b;", 2},
                                               {"k = v;\n{ a = b; }", 2},
                                               {"\xFF\xFE\n\0\x3D\xD8"s, 2},
                                               {"\xFE\xFF\0\n\0"s, 2},
                                               {"k = v;"s + '\0', 1}};
  for (const auto& [table, line] : cases) {
    log_.lines.clear();
    EXPECT_EQ(read(table, "k"), "k") << table;
    ASSERT_EQ(log_.lines.size(), 1U) << table;
    const std::string place =
        (folder_ / "en.lproj/Localizable.strings").string() + ", line " + std::to_string(line) + ":";
    EXPECT_NE(log_.lines[0].find(place), std::string::npos) << table << '\n' << log_.lines[0];
  }
}

TEST_F(Localized, RefusesATableThatIsHugeOrNoFile) {
  write("en", "k = v;");
  fs::resize_file(folder_ / "en.lproj/Localizable.strings", 16 * 1024 * 1024 + 1);
  EXPECT_EQ(localized("k", Bundle(folder_.path())), "k");
  fs::remove(folder_ / "en.lproj/Localizable.strings");
  fs::create_directory(folder_ / "en.lproj/Localizable.strings");
  EXPECT_EQ(localized("k", Bundle(folder_.path())), "k");
  EXPECT_EQ(log_.lines.size(), 2U);
  EXPECT_EQ(localized("k", Bundle(folder_ / "nowhere")), "k");
  EXPECT_EQ(log_.lines.size(), 2U);
}

TEST_F(Localized, SpeaksTheLanguageThatSuitsTheUserBest) {
  for (const char* const language : {"en", "de", "pt-BR", "pt_PT", "zh-Hant", "zh-Hans", "", "%%%", "Base"})
    write(language, "k = \""s + language + "\";");
  fs::create_directory(folder_ / "fr.lproj");
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"de_AT"}, "de"},       {{"fr", "de"}, "de"},
      {{"fr"}, "en"},          {{}, "en"},
      {{"pt"}, "pt-BR"},       {{"pt_AO"}, "pt_PT"},
      {{"zh_TW"}, "zh-Hant"},  {{"zh_CN", "de"}, "zh-Hans"},
      {{"ja", "en_GB"}, "en"}, {{"", "../..", std::string(5'000, 'x'), "de"}, "de"}};
  for (const auto& [languages, best] : cases) {
    EXPECT_EQ(localized("k", Bundle(folder_.path(), languages)), best)
        << (languages.empty() ? "" : languages[0].substr(0, 20));
  }
}

TEST(PreferredLanguages, AreWhatTheEnvironmentSaysInItsOrder) {
  const EnvironmentVariable language("LANGUAGE", "de_AT:fr::C");
  const EnvironmentVariable all("LC_ALL", "");
  const EnvironmentVariable messages("LC_MESSAGES", "nb_NO.UTF-8@euro");
  const EnvironmentVariable lang("LANG", "sv_SE");
  EXPECT_EQ(Bundle::preferredLanguages(), (std::vector<std::string>{"de_AT", "fr", "nb_NO"}));
  const EnvironmentVariable none("LANGUAGE", "");
  const EnvironmentVariable posix("LC_ALL", "C.UTF-8");
  EXPECT_TRUE(Bundle::preferredLanguages().empty());
}

TEST_F(Localized, IsCallableFromAnyThread) {
  write("en", "k = v;");
  std::optional<Bundle> bundle(folder_.path());
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([copy = *bundle, folder = folder_.path()] {
      EXPECT_EQ(localized("clips.count"), "%d clips");
      EXPECT_EQ(localized("k", Bundle(folder)), "v");
      for (int round = 0; round < 100; ++round) EXPECT_EQ(localized("k", copy), "v");
    });
  }
  bundle.reset();
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace tq::tests

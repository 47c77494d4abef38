#include <gtest/gtest.h>

#include <thread>

#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class Localized : public testing::Test {
 protected:
  [[nodiscard]] fs::path file(const std::string& language) const {
    return folder_ / (language + ".lproj/Localizable.strings");
  }
  void write(const std::string& language, const std::string& table) {
    fs::create_directory(file(language).parent_path());
    writeFile(file(language), table);
  }
  // Nothing is logged: a sink is the host's code, and may ask for a text itself.
  [[nodiscard]] std::string read(const std::string& key) {
    Log::setSink([](const LogLine& line) { ADD_FAILURE() << line.message; });
    const Bundle bundle(folder_.path());
    Log::setSink({});
    errors_ = bundle.errors();
    return localized(key, bundle);
  }

  TemporaryFolder folder_;
  std::vector<NSError> errors_;
};

TEST_F(Localized, ReadsWhatTheFormatAllows) {
  const std::string table =
      "\xEF\xBB\xBF/* a \"comment\" = \"x\"; ** // */ \"a\"=\"1\";// \"a\" = \"no\";\r"
      "\"b\" /**/ = /**/ '2' ;\n plain.Key-1 = $v/a_l:ue; \"alone\";\n"
      "\"\" = \"empty key\"; 'a\"b' = \"\";\n \"twice\" = \"1\"; \"twice\" = \"2\";"
      "\"escapes\" = \"\\\"\\\\\\n\\t\\r\\q\\101\\u41g\\0011\\u00e9\\U20AC\\Ud83D\\ude00\";"
      "\"lines\" = \"1\n2\\\n3\"; \"\\u006bey\" = \"\xC3\xA4\"; //";
  const std::initializer_list<std::pair<std::string, std::string>> cases = {
      {"a", "1"},   {"b", "2"},     {"plain.Key-1", "$v/a_l:ue"}, {"alone", "alone"},  {"", "empty key"},
      {"a\"b", ""}, {"twice", "2"}, {"lines", "1\n2\n3"},         {"key", "\xC3\xA4"}, {"none", "none"}};
  write("en", table);
  for (const auto& [key, text] : cases) EXPECT_EQ(read(key), text) << key;
  EXPECT_EQ(read("escapes"), "\"\\\n\t\rqAAg\0011\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  write("en", "\xFF\xFE\"\0k\0\"\0=\0\"\0=\xD8\x00\xDE\xAC\x20\"\0;\0"s);  // UTF-16 of both orders
  EXPECT_EQ(read("k"), "\xF0\x9F\x98\x80\xE2\x82\xAC");
  write("en", "\xFE\xFF\0k\0=\0\"\x20\xAC\0\"\0;"s);
  EXPECT_EQ(read("k"), "\xE2\x82\xAC");
  EXPECT_TRUE(errors_.empty());
}

TEST_F(Localized, GivesTheKeysOfABrokenTableBackAndItsLineAsAnError) {
  std::vector<std::pair<std::string, int>> cases = {{"k = v;\r\n\r\na = b = c;", 3},
                                                    {"k = v;\r\ra = ;", 3},
                                                    {"k = v;\n\n\"a\" = \"b\"", 3},
                                                    {"k = v; \"a\" = \"\\", 1},
                                                    {"\xFF\xFE\n\0\x3D\xD8"s, 2},
                                                    {"\xFE\xFF\0\n\0"s, 2},
                                                    {"k = v;\0"s, 1}};
  for (const char* const second :
       {"= b;", "\"a\n\nb", "/* \n\n", "\"a\" = \"\\U\";", "\"a\" = \"\\ud83d\";",
        "\"a\" = \"\\ud83d\\u0041\";", "\"a\" = \"\\ude00\";", "\"a\" = \"\\200\";", "\"\xC3\" = b;",
        "\"\xED\xA0\x80\" = b;", "{ a = b; }"})
    cases.emplace_back("k = v;\n"s + second, 2);
  for (const auto& [table, line] : cases) {
    write("en", table);
    EXPECT_EQ(read("k"), "k") << table;
    ASSERT_EQ(errors_.size(), 1U) << table;
    const std::string place = file("en").string() + ", line " + std::to_string(line) + ":";
    const std::string sentence = errors_[0].localizedDescription();
    EXPECT_NE(sentence.find(place), std::string::npos) << table << '\n' << sentence;
  }
}

TEST_F(Localized, RefusesATableThatIsHugeOrNoFile) {
  EXPECT_EQ(read("k"), "k");
  EXPECT_TRUE(errors_.empty());  // that there is no table is no error
  write("en", "k = v;");
  fs::resize_file(file("en"), 16 * 1024 * 1024 + 1);
  EXPECT_EQ(read("k"), "k");
  EXPECT_EQ(errors_.size(), 1U);
  fs::remove(file("en"));
  fs::create_directory(file("en"));
  EXPECT_EQ(read("k"), "k");
  EXPECT_EQ(errors_.size(), 1U);
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
    EXPECT_EQ(localized("k", Bundle(folder_.path(), languages)), best);
    EXPECT_EQ(Bundle(folder_.path()).preferredLocalizations(languages).front(), best);
  }
  const std::vector<std::string> both = {"pt-BR", "de"};
  EXPECT_EQ(Bundle(folder_.path()).preferredLocalizations({"ja", "pt", "de_AT", "de"}), both);
  fs::remove_all(file("en").parent_path());
  EXPECT_EQ(Bundle(folder_.path()).preferredLocalizations({"ja"}).front(), "en");
}

TEST_F(Localized, IsCallableFromAnyThread) {
  write("en", "k = v;");
  std::optional<Bundle> bundle(folder_.path());
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([copy = *bundle, folder = folder_.path()] {
      EXPECT_EQ(localized("clips.count"), "%d clips");
      EXPECT_EQ(localized("k", Bundle(folder)), "v");
      for (int round = 0; round < 100; ++round) EXPECT_EQ(localized("k", copy), "v");
    });
  }
  bundle.reset();
}

}  // namespace
}  // namespace tq::tests

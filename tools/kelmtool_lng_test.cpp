#include <gtest/gtest.h>

#include <string>

#include "kelm/port/testing/scratch_dir.h"
#include "tools/kelmtool.h"

namespace kelm::tools {
namespace {

using namespace std::string_literals;

class Captured : public Output {
 public:
  void Out(const std::string& text) override { out += text; }
  void Err(const std::string& text) override { err += text; }
  std::string out;
  std::string err;
};

class KelmtoolLngTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_ / name; }
  std::string Make(const std::string& name, const std::string& content) const {
    EXPECT_TRUE(dir_.Write(name, content));
    return Path(name);
  }
  std::string Content(const std::string& name) const { return dir_.Read(name); }
  // kelmtool lng ARGS...
  int Run(Args args) {
    result_ = Captured();
    args.insert(args.begin(), "lng");
    return RunCommand(args, result_);
  }

  kelm::testing::ScratchDir dir_;
  Captured result_;
};

TEST_F(KelmtoolLngTest, CheckReportsWhatWillNotWorkAsMeant) {
  const std::string dict = Make("EN.lng",
                                "Да#Yes#STRING\r\n"
                                "Файл {1} не найден!#File {2} not found!#MASK\r\n"
                                "{1} и {3}#{3} and {1}#MASK\r\n"
                                "Нет#\r\n"
                                "Да#Yes!#STRING\r\n" +
                                    std::string(3000, 'x') + "#y\r\n" + "Ещё\0#More\r\n\r\nОтмена#Cancel"s);
  EXPECT_EQ(Run({"check", dict}), kExitProblems);
  const std::string& out = result_.out;
  EXPECT_NE(out.find(dict + ":2: mask translation uses {2}, which the source does not have"), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":3: mask translation uses {3}, but the source has only 2"), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":4: empty translation of \"Нет\""), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":5: \"Да\" is given again: this line replaces line 1"), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":6: the line has 3002 characters; it is read as 2 entries"), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":7: a NUL byte ends the line after 3 characters"), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ":7: empty translation of \"Ещё\""), std::string::npos) << out;
  EXPECT_NE(out.find(dict + ": 9 lines, 7 problems"), std::string::npos) << out;

  Make("good.lng", "Да#Yes#STRING\r\n{2} из {1}#{1} of {2}#MASK\r\n");
  EXPECT_EQ(Run({"check", Path("good.lng")}), kExitOk);
  EXPECT_EQ(Run({"check", Path("missing.lng")}), kExitProblems);
  EXPECT_NE(result_.err.find("kelmtool lng: Невозможно открыть файл"), std::string::npos) << result_.err;
}

TEST_F(KelmtoolLngTest, MergeAppendsWhatTheDictionaryLacks) {
  const std::string original = "Да#Yes#STRING\r\nНет#No\r\nОтмена#Cancel";  // no line end at the end
  const std::string dict = Make("EN.lng", original);
  const std::string unknown = Make("EN_unknown.lng", "Да##STRING\r\nНет##\r\nОтмена##STRING\r\nФайл\\#1##\r\n");
  EXPECT_EQ(Run({"merge", dict, unknown}), kExitOk);
  EXPECT_EQ(Content("EN.lng"), original + "\r\nФайл\\#1##\r\nОтмена##STRING\r\n");
  EXPECT_NE(result_.out.find("2 texts added"), std::string::npos);
  EXPECT_EQ(Run({"merge", dict, unknown}), kExitOk);
  EXPECT_NE(result_.out.find("0 texts added"), std::string::npos);
  EXPECT_EQ(Run({"merge", Path("new.lng"), unknown}), kExitOk);
  EXPECT_EQ(Content("new.lng"), "Нет##\r\nФайл\\#1##\r\nДа##STRING\r\nОтмена##STRING\r\n");
}

TEST_F(KelmtoolLngTest, TranslateShowsTheTranslatorsResults) {
  const std::string dict = Make("appEN.lng", "Да#Yes\r\nДа#Yes!#STRING\r\nИз {2} в {1}#{1} <- {2}#MASK\r\n");
  EXPECT_EQ(Run({"translate", dict, "Да", "Из a в b", "Нет"}), kExitOk);
  EXPECT_EQ(result_.out, "Да -> Yes\nИз a в b -> a <- b\nНет -> Нет\n");
  EXPECT_EQ(Run({"translate", "--context", "string", dict, "Да"}), kExitOk);
  EXPECT_EQ(result_.out, "Да -> Yes!\n");
  EXPECT_EQ(Run({"translate", Make("app.lng", ""), "Да"}), kExitUsage);
  EXPECT_EQ(Run({"translate", "--context", "other", dict, "Да"}), kExitUsage);
  EXPECT_EQ(Run({"translate", Path("goneEN.lng"), "Да"}), kExitProblems);
}

TEST_F(KelmtoolLngTest, Usage) {
  EXPECT_EQ(RunCommand({}, result_), kExitUsage);
  EXPECT_EQ(RunCommand({"--help"}, result_), kExitOk);
  EXPECT_NE(result_.out.find("  lng    dictionary files"), std::string::npos);
  EXPECT_EQ(RunCommand({"zip"}, result_), kExitUsage);
  EXPECT_EQ(Run({}), kExitUsage);
  EXPECT_EQ(Run({"sort", "x.lng"}), kExitUsage);
  EXPECT_NE(result_.err.find("unknown action 'sort'"), std::string::npos);
  EXPECT_EQ(Run({"check"}), kExitUsage);
  EXPECT_EQ(Run({"--help"}), kExitOk);
  EXPECT_NE(result_.out.find("usage: kelmtool lng merge"), std::string::npos);
}

}  // namespace
}  // namespace kelm::tools

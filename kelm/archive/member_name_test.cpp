// How names written by other programs read back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelm/archive/internal/member_name.h"
#include "kelm/archive/testing/zip_builder.h"
#include "kelm/archive/unzip_file_stream.h"

namespace {

using kelm::archive::internal::CentralExtra;
using kelm::archive::internal::NameForm;
using kelm::archive::internal::StoreName;
using kelm::testing::RawMember;
using kelm::testing::ZipBuilder;

std::vector<std::string> Listed(const std::vector<RawMember>& members) {
  ZipBuilder builder;
  for (const RawMember& m : members) builder.Add(m);
  UnZipFileStream unzip;
  EXPECT_TRUE(unzip.Open(ZipBuilder::Vector(builder.Bytes()))) << unzip.Error();
  return unzip.Files();
}

RawMember Named(const std::string& stored, std::uint16_t made_by, std::uint16_t flags = 0) {
  RawMember m(stored, "x");
  m.made_by = made_by;
  m.flags = flags;
  return m;
}

TEST(MemberNameTest, StoredNamesReadBackByTheirMarks) {
  const std::string oem = "\x8F\xA0\xAF\xAA\xA0";                   // "Папка" in code page 866
  const std::string ansi = "Папка";                                   // Windows-1251
  const std::string utf8 = "\xD0\x9F\xD0\xB0\xD0\xBF\xD0\xBA\xD0\xB0";  // UTF-8
  EXPECT_EQ(Listed({Named(oem, 0x0014), Named(oem + "1", 0x0B14), Named(oem + "2", 0x0614), Named(oem + "3", 0x0E14),
                    Named(ansi + "4", 0x0314), Named(utf8 + "5", 0x0314, 0x800), Named(utf8 + "6", 0x0014, 0x800),
                    Named(utf8 + "7", 0x0314),
                    Named("\xF0\x9F\x98\x80.txt", 0x0314, 0x800), Named("bad\xFF", 0x0014, 0x800)}),
            (std::vector<std::string>{"Папка", "Папка1", "Папка2", "Папка3", "Папка4", "Папка5", "Папка6", "Папка7",
                                      "?.txt", "bad?"}));
}

TEST(MemberNameTest, InfoZipUnicodePathCountsOnlyForItsOwnName) {
  EXPECT_TRUE(CentralExtra(StoreName("plain.txt", NameForm::kAnsi)).empty()) << "no field for ASCII names";
  const auto field = CentralExtra(StoreName("Имя", NameForm::kAnsi));
  ASSERT_FALSE(field.empty());
  RawMember matching = Named("Имя", 0x0314);
  matching.central_extra = field;
  // A field made for another name (the name was changed afterwards) is stale.
  RawMember stale = Named("\x88\xAC\xEF", 0x0014);
  stale.central_extra = field;
  EXPECT_EQ(Listed({matching, stale}), (std::vector<std::string>{"Имя", "Имя"}));
  RawMember other = Named("\x8D\xA5", 0x0014);  // "Не" in code page 866
  other.central_extra = field;
  EXPECT_EQ(Listed({other}), std::vector<std::string>{"Не"});
}

}  // namespace

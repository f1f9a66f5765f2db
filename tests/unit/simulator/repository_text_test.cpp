#include "simulator/repository_text.h"

#include "simulator/sample_records.h"
#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using RepositoryTextTest = BmcFixture;

TEST_F(RepositoryTextTest, DescriptionNamesWhatAPersonLooksFor) {
  bmcsim::Identity identity;
  identity.has_slot = 1;
  identity.slot = {1, 2, 3};
  identity.ipmi_version = 0x02;
  Reset(identity);
  // 2018-01-01
  ASSERT_TRUE(bmcsim::AddSampleSet({3, "SDR Version 01.02", "BOARD"}, 1514764800, *state_));
  Fill({FromHex("51 77 02 01 FF"), FromHex("51 C0 05 77 00 00 22 41")});
  EXPECT_EQ(bmcsim::DescribeRepository(*state_), R"(Product ID          01A3h
Manufacturer ID     77 00 00
Device              ID 20h, revision 01h, firmware 01.10
IPMI version        2.0
Auxiliary revision  00 00 00 00
Slot information    01 02 03
SDR version         "SDR Version 01.02"
Configuration       "BOARD"
Records             7, 166 bytes of 65536
Last addition       5A497A00h, 2018-01-01 00:00:00 UTC
Last erase          5A497A00h, 2018-01-01 00:00:00 UTC
Spare copy          closed

0001h  type 12h management controller locator, SDR version 51, 25 bytes, "Board BMC"
       20 00 00 BF 00 00 00 07 01 00 C9 42 6F 61 72 64 20 42 4D 43

0002h  type 11h FRU device locator, SDR version 51, 25 bytes, "Board FRU"
       20 00 80 00 00 10 00 07 01 00 C9 42 6F 61 72 64 20 46 52 55

0003h  type 01h full sensor, SDR version 51, 58 bytes, sensor 01h, "CPU Temp 1"
       20 00 01 03 01 7F 68 01 01 00 00 00 00 18 18 00 01 00 00 01 00 00 00 00 00 00 00 00 00 FF 00 00 50 48 00 00 00 00 00 00 00 00 CA 43 50 55 20 54 65 6D 70 20 31

0004h  type C0h OEM, SDR version 51, 25 bytes, "SDR Version 01.02"
       77 00 00 53 44 52 20 56 65 72 73 69 6F 6E 20 30 31 2E 30 32

0005h  type C0h OEM, SDR version 51, 16 bytes, "\x16BOARD"
       77 00 00 16 42 4F 41 52 44 00 00

0006h  type 77h unknown, SDR version 51, 7 bytes
       01 FF

0007h  type C0h OEM, SDR version 51, 10 bytes, "\x22A"
       77 00 00 22 41
)");
}

TEST_F(RepositoryTextTest, EmptyAndOpenRepositoriesAreToldSo) {
  bmcsim::Identity identity;
  identity.has_auxiliary_revision = 0;
  Reset(identity);
  Spared(0);
  const std::string text = bmcsim::DescribeRepository(*state_);
  EXPECT_NE(text.find("Auxiliary revision  none\nSlot information    none\n"
                      "SDR version         none\nConfiguration       none\n"
                      "Records             0, 0 bytes of 65536\n"),
            std::string::npos)
      << text;
  EXPECT_TRUE(text.ends_with("Spare copy          open\n"));
}

TEST_F(RepositoryTextTest, RecordsOfAnyShapeAreDescribed) {
  // Sensor records too short for their sensor number or ID string, an ID string that claims more
  // than there is, an OEM record of another maker, and bodies of every type without a byte.
  for (int type = 0; type < 256; ++type) {
    Bytes record = {0x51, static_cast<std::uint8_t>(type), 0x00};
    Fill({record});
  }
  Bytes claims = RecordOf(43, 0x00);
  claims.back() = 0xDF;
  Fill({claims, RecordOf(3, 0xFF), FromHex("51 C0 05 11 22 33 53 41"),
        FromHex("51 C0 03 77 00 00")});
  const std::string text = bmcsim::DescribeRepository(*state_);
  EXPECT_NE(text.find("type 01h full sensor, SDR version 51, 48 bytes, sensor 00h, \"\""),
            std::string::npos);
  EXPECT_NE(text.find("SDR version         none"), std::string::npos);
}

TEST_F(RepositoryTextTest, FirstVersionRecordWins) {
  ASSERT_TRUE(bmcsim::AddSampleSet({0, "SDR Version 01.02", ""}, 0, *state_));
  ASSERT_TRUE(bmcsim::AddSampleSet({0, "SDR Version 09.99", ""}, 0, *state_));
  EXPECT_NE(bmcsim::DescribeRepository(*state_).find("SDR version         \"SDR Version 01.02\""),
            std::string::npos);
}

}  // namespace
}  // namespace bmcsim_test

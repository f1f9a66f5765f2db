#include "simulator/bmc_model.h"

#include "tests/unit/simulator/bmc_fixture.h"

namespace bmcsim_test {
namespace {

using bmcsim::Identity;

using BmcModelTest = BmcFixture;

TEST_F(BmcModelTest, DeviceIdCarriesTheIdentity) {
  Identity identity;
  identity.device_id = 0x21;
  identity.device_revision = 0x82;
  identity.firmware_revision = {0x03, 0x45};
  identity.ipmi_version = 0x02;
  identity.device_support = 0xBF;
  identity.manufacturer_id = {0x11, 0x22, 0x33};
  identity.product_id = 0xBEEF;
  identity.auxiliary_revision = {1, 2, 3, 4};
  Reset(identity);
  EXPECT_EQ(Ask("18 01"), "00 21 82 03 45 02 BF 11 22 33 EF BE 01 02 03 04");
}

TEST_F(BmcModelTest, DeviceIdCanEndBeforeTheAuxiliaryRevision) {
  Identity identity;
  identity.has_auxiliary_revision = 0;
  Reset(identity);
  EXPECT_EQ(Ask("18 01"), "00 20 01 01 10 51 9F 77 00 00 A3 01");
}

TEST_F(BmcModelTest, RepositoryInfoCountsRecordsAndRoom) {
  Identity identity;
  identity.capacity = 0x1000;
  Reset(identity);
  Fill({RecordOf(11, 0xAA), RecordOf(16, 0xBB)});
  // 16 and 21 bytes are gone of 1000h: FDBh are left.
  EXPECT_EQ(Ask("28 20"), "00 51 02 00 DB 0F 00 00 00 00 00 00 00 00 02");
}

TEST_F(BmcModelTest, FreeSpaceNeverLooksLikeTheUnknownValue) {
  Identity identity;
  identity.capacity = bmcsim::kStoreBytes;
  Reset(identity);
  EXPECT_EQ(Ask("28 20").substr(12, 5), "FE FF");
}

TEST_F(BmcModelTest, RepositoryFilledBeyondALoweredCapacityHasNoRoom) {
  Fill({RecordOf(64, 1)});
  bmcsim::Control lowered = control();
  lowered.identity.capacity = 10;
  bmcsim::Publish(lowered, *state_);
  EXPECT_EQ(Ask("28 20").substr(12, 5), "00 00");
}

TEST_F(BmcModelTest, SlotInformationIsKnownOnlyWhereThereIsOne) {
  EXPECT_EQ(Ask("F8 E0"), "C1");
  Identity identity;
  identity.has_slot = 1;
  identity.slot = {5, 6, 7};
  Reset(identity);
  EXPECT_EQ(Ask("F8 E0"), "00 05 06 07");
}

struct Refused {
  const char* what;
  const char* image;
  const char* answer;
};

class RefusedRequestTest : public BmcFixture, public ::testing::WithParamInterface<Refused> {};

TEST_P(RefusedRequestTest, AnswersItsCompletionCodeAloneAndChangesNothing) {
  Fill({RecordOf(11, 0xAA)});
  const std::string before = Served();
  EXPECT_EQ(Ask(GetParam().image), GetParam().answer) << GetParam().what;
  EXPECT_EQ(Served(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Table, RefusedRequestTest,
    ::testing::Values(
        Refused{"unknown App command", "18 02", "C1"},
        Refused{"unknown Storage command", "28 21", "C1"},
        Refused{"unknown OEM command", "F8 15", "C1"}, Refused{"unknown NetFn", "30 01", "C1"},
        Refused{"a response's NetFn", "1C 01", "C1"}, Refused{"LUN 1", "19 01", "C2"},
        Refused{"LUN 3 of an OEM command", "FB 11", "C2"},
        Refused{"Device ID with data", "18 01 00", "C7"},
        Refused{"Repository Info with data", "28 20 00", "C7"},
        Refused{"Reserve with data", "28 22 00", "C7"},
        Refused{"Get SDR, a byte short", "28 23 00 00 00 00 00", "C7"},
        Refused{"Get SDR, a byte long", "28 23 00 00 00 00 00 05 00", "C7"},
        Refused{"Clear, short", "28 27 00 00 43 4C 52", "C7"},
        Refused{"Clear, long", "28 27 00 00 43 4C 52 AA 00", "C7"},
        Refused{"SparedSDR without phase", "F8 10", "C7"},
        Refused{"SparedSDR with two bytes", "F8 10 00 00", "C7"},
        Refused{"OEM Reserve with data", "F8 11 00", "C7"},
        Refused{"OEM Get SDR, short", "F8 12 00 00 00 00 00", "C7"},
        Refused{"Partial Add without a record byte", "F8 13 00 00 00 00 00 00", "C7"},
        Refused{"OEM Clear, short", "F8 14 00 00 43 4C 52", "C7"},
        Refused{"slot information with data", "F8 E0 00", "C7"},
        Refused{"SparedSDR, no such phase", "F8 10 03", "CC"},
        Refused{"commit with no spare copy open", "F8 10 02", "D5"},
        Refused{"drop with no spare copy open", "F8 10 01", "D5"},
        Refused{"OEM Reserve with no spare copy open", "F8 11", "D5"},
        Refused{"OEM Get SDR with no spare copy open", "F8 12 00 00 00 00 00 05", "D5"},
        Refused{"Partial Add with no spare copy open", "F8 13 01 00 00 00 00 00 00", "D5"},
        Refused{"OEM Clear with no spare copy open", "F8 14 01 00 43 4C 52 AA", "D5"}));

// Reading.

TEST_F(BmcModelTest, EmptyRepositoryHasNoRecordUnderAnyId) {
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "CB");
  EXPECT_EQ(Ask("28 23 00 00 FF FF 00 05"), "CB");
  EXPECT_EQ(Ask("28 23 00 00 01 00 00 05"), "CB");
}

TEST_F(BmcModelTest, RecordsAreReadFromTheFirstToTheLast) {
  Fill({RecordOf(1, 0xAA), RecordOf(2, 0xBB), RecordOf(3, 0xCC)});
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 FF"), "00 02 00 01 00 51 01 01 AA");
  EXPECT_EQ(Ask("28 23 00 00 02 00 00 FF"), "00 03 00 02 00 51 01 02 BB BB");
  EXPECT_EQ(Ask("28 23 00 00 03 00 00 FF"), "00 FF FF 03 00 51 01 03 CC CC CC");
  EXPECT_EQ(Ask("28 23 00 00 FF FF 00 FF"), "00 FF FF 03 00 51 01 03 CC CC CC");
  EXPECT_EQ(Ask("28 23 00 00 01 00 00 FF"), "00 02 00 01 00 51 01 01 AA") << "back again";
  EXPECT_EQ(Ask("28 23 00 00 04 00 00 FF"), "CB");
}

TEST_F(BmcModelTest, ReadBeyondTheEndGetsWhatIsLeft) {
  Fill({RecordOf(11, 0xAA)});
  const std::string reservation = Reserve("28 22");
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 0E 10"), "00 FF FF AA AA");
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 0F FF"), "00 FF FF AA");
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 10 01"), "C9") << "no byte is left";
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 FF 01"), "C9");
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 00 00"), "C9") << "no byte is asked for";
}

TEST_F(BmcModelTest, MoreThanTheBmcCanReturnAtOnceIsRefused) {
  Identity identity;
  identity.max_read = 16;
  Reset(identity);
  Fill({RecordOf(64, 0xAA)});
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 11"), "CA");
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 FF"), "CA");
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 10").size(), 3U * (1 + 2 + 16) - 1);
}

TEST_F(BmcModelTest, LongestRecordComesInTwoReads) {
  Fill({RecordOf(255, 0xAA)});
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 FF"), "CA") << "260 bytes are more than any answer holds";
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 FE").size(), 3U * (1 + 2 + 254) - 1);
  const std::string reservation = Reserve("28 22");
  EXPECT_EQ(Ask("28 23 " + reservation + "00 00 FE FF"), "00 FF FF AA AA AA AA AA AA");
}

TEST_F(BmcModelTest, RecordIdsMoveByTheStepAndPassOverTheReservedOnes) {
  Identity identity;
  identity.record_id_step = 3;
  Reset(identity);
  Fill({RecordOf(1, 1), RecordOf(1, 2)});
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "00 04 00 01 00 51 01 01");
  EXPECT_EQ(Ask("28 23 00 00 02 00 00 05"), "CB");
  EXPECT_EQ(bmcsim::NextRecordId(0xFFFE, 1), 1);
  EXPECT_EQ(bmcsim::NextRecordId(0xFFFD, 3), 1);
  EXPECT_EQ(bmcsim::NextRecordId(0x0001, 1), 2);
}

// Reservations.

TEST_F(BmcModelTest, NewReservationCancelsTheFormer) {
  Fill({RecordOf(11, 0xAA)});
  const std::string first = Reserve("28 22");
  EXPECT_EQ(Ask("28 23 " + first + "00 00 05 01"), "00 FF FF AA");
  const std::string second = Reserve("28 22");
  EXPECT_NE(first, second);
  EXPECT_EQ(Ask("28 23 " + first + "00 00 05 01"), "C5");
  EXPECT_EQ(Ask("28 23 " + first + "00 00 00 01"), "C5") << "a wrong one is wrong at offset 0 too";
  EXPECT_EQ(Ask("28 23 " + second + "00 00 05 01"), "00 FF FF AA");
}

TEST_F(BmcModelTest, ReservationZeroReadsFromOffsetZeroOnly) {
  Fill({RecordOf(11, 0xAA)});
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "00 FF FF 01 00 51 01 0B");
  EXPECT_EQ(Ask("28 23 00 00 00 00 01 05"), "C5");
}

TEST_F(BmcModelTest, ReservationIdsAreNeverZero) {
  bmcsim::Control last = control();
  last.last_reservation = 0xFFFE;
  bmcsim::Publish(last, *state_);
  EXPECT_EQ(Ask("28 22"), "00 FF FF");
  EXPECT_EQ(Ask("28 22"), "00 01 00");
}

TEST_F(BmcModelTest, CancelledReservationsHoldNowhere) {
  Fill({RecordOf(11, 0xAA)});
  Spared(0);
  const std::string served = Reserve("28 22");
  const std::string spare = Reserve("F8 11");
  model_->CancelReservations();
  EXPECT_EQ(Ask("28 23 " + served + "00 00 00 05"), "C5");
  EXPECT_EQ(Ask("F8 12 " + spare + "00 00 00 05"), "C5");
  EXPECT_EQ(Ask("F8 13 " + spare + "00 00 00 01 00 00 51 C0 00"), "C5");
  EXPECT_EQ(Ask("F8 14 " + spare + "43 4C 52 AA"), "C5");
  EXPECT_EQ(Ask("28 27 " + served + "43 4C 52 AA"), "D5") << "while a spare copy is open";
  Spared(1);
  EXPECT_EQ(Ask("28 27 " + served + "43 4C 52 AA"), "C5");
}

TEST_F(BmcModelTest, EachSideHasItsOwnReservation) {
  Fill({RecordOf(11, 0xAA)});
  Spared(0);
  const std::string served = Reserve("28 22");
  const std::string spare = Reserve("F8 11");
  EXPECT_EQ(Ask("28 23 " + served + "00 00 05 01"), "00 FF FF AA");
  EXPECT_EQ(Ask("F8 12 " + spare + "00 00 05 01"), "00 FF FF AA");
  EXPECT_EQ(Ask("28 23 " + spare + "00 00 05 01"), "C5");
  EXPECT_EQ(Ask("F8 12 " + served + "00 00 05 01"), "C5");
}

// The spare copy.

TEST_F(BmcModelTest, SpareCopyBeginsAsTheServedSet) {
  Fill({RecordOf(11, 0xAA), RecordOf(12, 0xBB)});
  EXPECT_EQ(Spared(0), "00");
  EXPECT_EQ(Ask("F8 12 00 00 00 00 00 06"), "00 02 00 01 00 51 01 0B AA");
  EXPECT_EQ(Ask("F8 12 00 00 FF FF 00 06"), "00 FF FF 02 00 51 01 0C BB");
}

TEST_F(BmcModelTest, CommitServesTheSpareCopyAndDropKeepsTheOldSet) {
  for (const bool commit : {false, true}) {
    Reset(Identity());
    Fill({RecordOf(11, 0xAA)});
    const std::string old_set = Served();
    Spared(0);
    const std::string reservation = Reserve("F8 11");
    EXPECT_EQ(Ask("F8 14 " + reservation + "43 4C 52 AA"), "00 00");
    EXPECT_EQ(Ask("F8 14 " + reservation + "43 4C 52 00"), "00 00");
    EXPECT_EQ(Ask("F8 14 " + reservation + "43 4C 52 00"), "00 01");
    EXPECT_EQ(Add(RecordOf(11, 0xCC)), "00 01 00");
    EXPECT_EQ(Served(), old_set) << "the old set is served meanwhile";
    EXPECT_EQ(Ask("28 23 00 00 00 00 00 06"), "00 FF FF 01 00 51 01 0B AA");
    EXPECT_EQ(Ask("F8 12 00 00 00 00 00 06"), "00 FF FF 01 00 51 01 0B CC");
    EXPECT_EQ(Spared(commit ? 2 : 1), "00");
    EXPECT_EQ(Served(), commit ? "51 01 0B CC CC CC CC CC CC CC CC CC CC CC\n" : old_set);
    EXPECT_EQ(Ask("F8 11"), "D5") << "the spare copy is closed";
    EXPECT_EQ(Spared(2), "D5");
  }
}

TEST_F(BmcModelTest, OpeningAgainDropsTheFormerCopy) {
  Fill({RecordOf(11, 0xAA)});
  const std::string old_set = Served();
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  Add(RecordOf(11, 0xCC));
  EXPECT_EQ(Spared(0), "00");
  EXPECT_EQ(Ask("F8 12 " + reservation + "00 00 00 05"), "C5") << "its reservation too";
  EXPECT_EQ(Spared(2), "00");
  EXPECT_EQ(Served(), old_set);
}

TEST_F(BmcModelTest, CommitCancelsTheReservationOfTheServedSet) {
  Fill({RecordOf(11, 0xAA)});
  Spared(0);
  const std::string served = Reserve("28 22");
  EXPECT_EQ(Spared(2), "00");
  EXPECT_EQ(Ask("28 23 " + served + "00 00 05 01"), "C5");
}

TEST_F(BmcModelTest, CommitLeavesAnUnfinishedRecordOut) {
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  EXPECT_EQ(Ask("F8 13 " + reservation + "00 00 00 00 00 00 51 01 0B AA"), "00 01 00");
  EXPECT_EQ(Spared(2), "00");
  EXPECT_EQ(Served(), "");
  EXPECT_EQ(control().store[control().served].record_count, 0U);
}

// Adding.

TEST_F(BmcModelTest, RecordIsAddedInPieces) {
  Spared(0);
  EXPECT_EQ(Add(RecordOf(64, 0xAB)), "00 01 00");
  EXPECT_EQ(Add(RecordOf(11, 0xCD)), "00 02 00");
  EXPECT_EQ(Add(RecordOf(12, 0xEF)), "00 03 00");
  Spared(2);
  EXPECT_EQ(Served(), ToHex(RecordOf(64, 0xAB)) + "\n" + ToHex(RecordOf(11, 0xCD)) + "\n" +
                          ToHex(RecordOf(12, 0xEF)) + "\n");
  EXPECT_EQ(Ask("28 23 00 00 02 00 00 05"), "00 03 00 02 00 51 01 0B");
}

TEST_F(BmcModelTest, TheBmcAssignsRecordIdsItself) {
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  EXPECT_EQ(Ask("F8 13 " + reservation + "00 00 00 01 34 12 51 01 00"), "00 01 00");
  EXPECT_EQ(Ask("F8 12 00 00 00 00 00 05"), "00 FF FF 01 00 51 01 00");
}

TEST_F(BmcModelTest, WrongPiecesAreRefused) {
  Spared(0);
  const std::string add = "F8 13 " + Reserve("F8 11");
  EXPECT_EQ(Ask(add + "00 00 01 00 AA"), "C9") << "a first piece not at offset 0";
  EXPECT_EQ(Ask(add + "05 00 00 00 AA"), "CB") << "no such record is begun";
  EXPECT_EQ(Ask(add + "00 00 00 02 AA"), "CC") << "neither a piece nor the last";
  EXPECT_EQ(Ask(add + "00 00 00 00" + ToHex(Bytes(17, 0))), "C8") << "17 bytes";
  EXPECT_EQ(Ask(add + "00 00 00 00 00 00 51 01 02"), "00 01 00");
  EXPECT_EQ(Ask(add + "01 00 04 00 AA"), "C9") << "over what is there";
  EXPECT_EQ(Ask(add + "01 00 06 00 AA"), "C9") << "a gap";
  EXPECT_EQ(Ask(add + "02 00 05 00 AA"), "CB") << "another record";
  EXPECT_EQ(Ask(add + "01 00 05 00 AA"), "00 01 00");
  EXPECT_EQ(Ask(add + "01 00 06 01 BB"), "00 01 00") << "none of these did any harm";
  EXPECT_EQ(Ask(add + "01 00 07 00 CC"), "CB") << "it is complete";
  Spared(2);
  EXPECT_EQ(Served(), "51 01 02 AA BB\n");
}

TEST_F(BmcModelTest, RecordWhoseLengthByteLiesIsRejected) {
  Spared(0);
  const std::string add = "F8 13 " + Reserve("F8 11");
  EXPECT_EQ(Ask(add + "00 00 00 01 00 00 51 01 02 AA"), "80") << "too short";
  EXPECT_EQ(Ask(add + "00 00 00 01 00 00 51 01 00 AA"), "80") << "too long";
  EXPECT_EQ(Ask(add + "00 00 00 01 00 00 51 01"), "80") << "not even a header";
  EXPECT_EQ(Ask(add + "00 00 00 00 00 00 51 01 00 AA"), "80") << "too long before its last piece";
  EXPECT_EQ(Ask(add + "01 00 06 01 BB"), "CB") << "the rejected record is forgotten";
  EXPECT_EQ(Ask(add + "00 00 00 01 00 00 51 01 01 AA"), "00 01 00");
}

TEST_F(BmcModelTest, NewReservationForgetsAnUnfinishedRecord) {
  Spared(0);
  const std::string add = "F8 13 " + Reserve("F8 11");
  EXPECT_EQ(Ask(add + "00 00 00 00 00 00 51 01 02"), "00 01 00");
  const std::string again = "F8 13 " + Reserve("F8 11");
  EXPECT_EQ(Ask(again + "01 00 05 01 AA BB"), "CB");
}

TEST_F(BmcModelTest, FirstPieceAnewForgetsAnUnfinishedRecord) {
  Spared(0);
  const std::string add = "F8 13 " + Reserve("F8 11");
  Ask(add + "00 00 00 00 00 00 51 01 02 AA");
  EXPECT_EQ(Ask(add + "00 00 00 01 00 00 51 01 01 BB"), "00 01 00");
  Spared(2);
  EXPECT_EQ(Served(), "51 01 01 BB\n");
}

TEST_F(BmcModelTest, RecordsFillTheCapacityToTheLastByte) {
  Identity identity;
  identity.capacity = 32;
  Reset(identity);
  Spared(0);
  EXPECT_EQ(Add(RecordOf(11, 1)), "00 01 00");
  EXPECT_EQ(Add(RecordOf(12, 2)), "C4") << "17 bytes";
  EXPECT_EQ(Add(RecordOf(64, 2)), "C4");
  EXPECT_EQ(Add(RecordOf(11, 3)), "00 02 00");
  EXPECT_EQ(Add(RecordOf(0, 4)), "C4");
  Spared(2);
  EXPECT_EQ(Ask("28 20").substr(6, 11), "02 00 00 00");
}

// Erasing.

TEST_F(BmcModelTest, EraseTakesItsPolls) {
  for (const std::uint32_t polls : {0U, 1U, 3U}) {
    Identity identity;
    identity.erase_polls = polls;
    Reset(identity);
    Fill({RecordOf(11, 0xAA)});
    Spared(0);
    const std::string clear = "F8 14 " + Reserve("F8 11") + "43 4C 52 ";
    EXPECT_EQ(Ask(clear + "AA"), polls == 0 ? "00 01" : "00 00");
    for (std::uint32_t poll = 1; poll < polls; ++poll) {
      EXPECT_EQ(Ask(clear + "00"), "00 00") << poll << " of " << polls;
    }
    if (polls > 0) {
      EXPECT_EQ(Ask(clear + "00"), "00 01") << polls;
    }
    EXPECT_EQ(Ask(clear + "00"), "00 01") << "it stays complete";
    EXPECT_EQ(Ask("F8 12 00 00 00 00 00 05"), "CB");
  }
}

TEST_F(BmcModelTest, NothingElseWorksOnAStoreInAnErase) {
  Identity identity;
  identity.erase_polls = 5;
  Reset(identity);
  Fill({RecordOf(11, 0xAA)});
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  Ask("F8 14 " + reservation + "43 4C 52 AA");
  EXPECT_EQ(Ask("F8 11"), "CE");
  EXPECT_EQ(Ask("F8 12 00 00 00 00 00 05"), "CE");
  EXPECT_EQ(Ask("F8 13 " + reservation + "00 00 00 01 00 00 51 01 00"), "CE");
  EXPECT_EQ(Spared(2), "CE");
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "00 FF FF 01 00 51 01 0B") << "the served one is whole";
  EXPECT_EQ(Spared(2), "00") << "each request takes the erase further";
  EXPECT_EQ(Served(), "");
}

TEST_F(BmcModelTest, WrongClearRequestsAreRefused) {
  Fill({RecordOf(11, 0xAA)});
  const std::string before = Served();
  const std::string reservation = Reserve("28 22");
  EXPECT_EQ(Ask("28 27 " + reservation + "43 4C 53 AA"), "CC") << "not CLR";
  EXPECT_EQ(Ask("28 27 " + reservation + "43 4C 52 01"), "CC") << "neither start nor status";
  EXPECT_EQ(Ask("28 27 00 00 43 4C 52 AA"), "C5") << "no reservation";
  EXPECT_EQ(Served(), before);
}

TEST_F(BmcModelTest, StandardClearErasesTheServedSet) {
  Fill({RecordOf(11, 0xAA)});
  const std::string reservation = Reserve("28 22");
  EXPECT_EQ(Ask("28 27 " + reservation + "43 4C 52 AA"), "00 00");
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "CE");
  EXPECT_EQ(Ask("28 27 " + reservation + "43 4C 52 00"), "00 01");
  EXPECT_EQ(Ask("28 23 00 00 00 00 00 05"), "CB");
}

TEST_F(BmcModelTest, StandardClearIsRefusedWhileASpareCopyIsOpen) {
  const std::string reservation = Reserve("28 22");
  Spared(0);
  EXPECT_EQ(Ask("28 27 " + reservation + "43 4C 52 AA"), "D5");
}

TEST_F(BmcModelTest, PlaceOfTheLastReadIsForgottenInAnErase) {
  Identity identity;
  identity.erase_polls = 0;
  Reset(identity);
  Fill({RecordOf(11, 0xAA), RecordOf(11, 0xBB)});
  Spared(0);
  const std::string reservation = Reserve("F8 11");
  EXPECT_EQ(Ask("F8 12 00 00 02 00 00 05"), "00 FF FF 02 00 51 01 0B");
  Ask("F8 14 " + reservation + "43 4C 52 AA");
  // Where record 2 was, the body of the new record looks like one.
  Bytes record = RecordOf(11 + 16, 0xCC);
  const Bytes looks = FromHex("02 00 51 01 0B");
  std::copy(looks.begin(), looks.end(), record.begin() + 14);
  EXPECT_EQ(Add(record), "00 01 00");
  EXPECT_EQ(Ask("F8 12 00 00 02 00 00 05"), "CB");
}

TEST(AnswerTest, NeverGrowsBeyondItsCapacity) {
  bmcsim::Answer answer;
  answer.Start(0);
  const Bytes most(bmcsim::Answer::kCapacity, 0xAA);
  answer.Put(most);
  EXPECT_EQ(answer.bytes().size(), bmcsim::Answer::kCapacity);
  answer.Put8(1);
  answer.Put32(1);
  EXPECT_EQ(answer.bytes().size(), bmcsim::Answer::kCapacity);
  EXPECT_EQ(answer.bytes().back(), 0xAA);
}

TEST_F(BmcModelTest, RecordIdsBeginAnewAfterAnErase) {
  Identity identity;
  identity.erase_polls = 0;
  Reset(identity);
  Fill({RecordOf(11, 0xAA), RecordOf(11, 0xBB)});
  Spared(0);
  Ask("F8 14 " + Reserve("F8 11") + "43 4C 52 AA");
  EXPECT_EQ(Add(RecordOf(11, 1)), "00 01 00");
}

// Time stamps.

class TimeStampTest : public BmcFixture {
 protected:
  std::string Stamps() { return Ask("28 20").substr(18, 23); }

  void Update() {
    Spared(0);
    const std::string clear = "F8 14 " + Reserve("F8 11") + "43 4C 52 ";
    std::string progress = Ask(clear + "AA");
    while (progress == "00 00") progress = Ask(clear + "00");
    now_ += 0x10;
    Add(RecordOf(11, 1));
  }
};

TEST_F(TimeStampTest, TellWhenTheCommittedSetWasErasedAndFilled) {
  EXPECT_EQ(Stamps(), "00 00 00 00 00 00 00 00");
  Update();
  EXPECT_EQ(Stamps(), "00 00 00 00 00 00 00 00") << "not before the commit";
  Spared(2);
  EXPECT_EQ(Stamps(), "10 00 00 40 00 00 00 40");
}

TEST_F(TimeStampTest, ADroppedCopyLeavesThemAlone) {
  Update();
  Spared(2);
  const std::string stamps = Stamps();
  Update();
  Spared(1);
  EXPECT_EQ(Stamps(), stamps);
}

TEST_F(TimeStampTest, NeverRunBackNorRepeat) {
  Update();
  Spared(2);
  now_ = kNow - 3600;
  Update();
  Spared(2);
  EXPECT_EQ(Stamps(), "11 00 00 40 11 00 00 40");
}

TEST_F(TimeStampTest, StandardClearMovesTheEraseStamp) {
  Fill({RecordOf(11, 1)});
  const std::string reservation = Reserve("28 22");
  Ask("28 27 " + reservation + "43 4C 52 AA");
  EXPECT_EQ(Stamps(), "00 00 00 00 00 00 00 40");
}

// Records that somebody else replaces.

TEST_F(BmcModelTest, RecordIsReplacedByOneOfAnyLength) {
  for (const bool spare : {false, true}) {
    for (const std::size_t body : {0, 1, 11, 12, 255}) {
      for (const int which : {0, 1, 2}) {
        Reset(bmcsim::Identity());
        std::vector<Bytes> records = {RecordOf(5, 0xAA), RecordOf(11, 0xBB), RecordOf(7, 0xCC)};
        Fill(records);
        if (spare) Spared(0);
        records[static_cast<std::size_t>(which)] = RecordOf(body, 0xDD);
        now_ = kNow + 5;
        ASSERT_TRUE(model_->ReplaceRecord(static_cast<std::uint16_t>(which + 1),
                                          RecordOf(body, 0xDD), now_));
        EXPECT_EQ(bmcsim::CheckState(*state_), "");
        if (spare) {
          EXPECT_EQ(Served(), ToHex(RecordOf(5, 0xAA)) + "\n" + ToHex(RecordOf(11, 0xBB)) + "\n" +
                                  ToHex(RecordOf(7, 0xCC)) + "\n");
          EXPECT_EQ(Spared(2), "00");
        }
        std::string expected;
        for (const Bytes& record : records) expected += ToHex(record) + "\n";
        EXPECT_EQ(Served(), expected) << "record " << which << ", spare copy " << spare;
        EXPECT_EQ(Ask("28 23 00 00 FF FF 00 02"), "00 FF FF 03 00") << "the IDs stay";
        EXPECT_EQ(control().store[control().served].addition_time, kNow + 5);
      }
    }
  }
}

TEST_F(BmcModelTest, FirstAndLastRecordCanBeReplacedWithoutTheirIds) {
  Fill({RecordOf(5, 0xAA), RecordOf(5, 0xBB), RecordOf(5, 0xCC)});
  EXPECT_TRUE(model_->ReplaceRecord(bmcsim::kFirstRecord, RecordOf(1, 0x11), kNow));
  EXPECT_TRUE(model_->ReplaceRecord(bmcsim::kLastRecord, RecordOf(2, 0x22), kNow));
  EXPECT_EQ(Served(), ToHex(RecordOf(1, 0x11)) + "\n" + ToHex(RecordOf(5, 0xBB)) + "\n" +
                          ToHex(RecordOf(2, 0x22)) + "\n");
}

TEST_F(BmcModelTest, ReplacingCancelsNoReservationAndDropsNoHalfRecord) {
  Fill({RecordOf(5, 0xAA)});
  Spared(0);
  const std::string served = Reserve("28 22");
  const std::string spare = Reserve("F8 11");
  EXPECT_EQ(Ask("F8 13 " + spare + " 00 00 00 00 00 00 51 01 02"), "00 02 00");
  EXPECT_TRUE(model_->ReplaceRecord(1, RecordOf(9, 0xBB), kNow));
  EXPECT_EQ(Ask("F8 13 " + spare + " 02 00 05 01 77 88"), "00 02 00");
  EXPECT_EQ(Ask("F8 12 " + spare + " 02 00 00 FF"), "00 FF FF 02 00 51 01 02 77 88");
  EXPECT_EQ(Ask("28 23 " + served + " 01 00 05 01"), "00 FF FF AA");
}

TEST_F(BmcModelTest, RecordThatIsNotThereOrHasNoRoomIsNotReplaced) {
  EXPECT_FALSE(model_->ReplaceRecord(bmcsim::kFirstRecord, RecordOf(0, 0), kNow));
  bmcsim::Identity identity;
  identity.capacity = 20;
  Reset(identity);
  Fill({RecordOf(5, 0xAA), RecordOf(5, 0xBB)});
  const std::string before = Served();
  EXPECT_FALSE(model_->ReplaceRecord(3, RecordOf(0, 0), kNow));
  EXPECT_FALSE(model_->ReplaceRecord(1, RecordOf(6, 0), kNow));
  EXPECT_EQ(Served(), before);
  EXPECT_TRUE(model_->ReplaceRecord(1, RecordOf(0, 0), kNow));
  EXPECT_TRUE(model_->ReplaceRecord(1, RecordOf(5, 0), kNow)) << "exactly full";
}

// Hostile input: any request must be answered, and leave a whole state.

TEST_F(BmcModelTest, AnyRequestIsAnswered) {
  Fill({RecordOf(11, 0xAA), RecordOf(64, 0xBB)});
  std::uint32_t random = 1;
  const auto next = [&random] {
    random = random * 1664525 + 1013904223;
    return static_cast<std::uint8_t>(random >> 24);
  };
  constexpr std::uint8_t kNetFns[] = {0x18, 0x28, 0xF8, 0xF9};
  constexpr std::uint8_t kCommands[] = {0x01, 0x10, 0x11, 0x12, 0x13, 0x14,
                                        0x20, 0x22, 0x23, 0x27, 0xE0, 0xFF};
  for (int i = 0; i < 20000; ++i) {
    Bytes image = {kNetFns[next() % 4], kCommands[next() % 12]};
    // Small values hit the meaningful bytes more often.
    const std::size_t length = next() % 26;
    for (std::size_t k = 0; k < length; ++k) {
      image.push_back(next() % 2 == 0 ? static_cast<std::uint8_t>(next() % 4) : next());
    }
    const std::string answer = Ask(ToHex(image));
    ASSERT_GE(answer.size(), 2U);
    ASSERT_LE(answer.size(), 3 * bmcsim::Answer::kCapacity);
  }
}

}  // namespace
}  // namespace bmcsim_test

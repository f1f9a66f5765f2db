// Writes records into the BMC's repository and proves the result.
#pragma once

#include "driver/reporting/progress.h"
#include "sdrfile/utilities/sdr_record.h"
#include "transport/ipmi_layout.h"
#include "transport/request_exchange.h"

inline int g_inputSdrRecord = 1;   // 1 and the records loaded so far: divides the progress
inline bool gIPMIVer1pt0 = false;  // the SDR file declared IPMI 1.0 or 1.5: read headers alone
inline unsigned char MS_cc_ignore =
    0;  // not 0: a clear that fails also leaves its progress at 0; set by nothing

/// The requests that program, read back and verify a repository. They return 0 or an error
/// status; 81 means that the failure was reported, or is silent.
class RepositoryProgrammer : public CProto {
 public:
  using CProto::CProto;
  RepositoryProgrammer(const RepositoryProgrammer&) = delete;
  RepositoryProgrammer& operator=(const RepositoryProgrammer&) = delete;
  /// Frees both lists.
  virtual ~RepositoryProgrammer();

  /// Sends SparedSDR: 0 opens the spared mode, 2 ends it after success, 1 after failure. From when
  /// the BMC may have the mode open until its end is sent, a signal that ends the run has it
  /// dropped (transport/spared_mode.h).
  int setSparedSDR(unsigned char phase);

  /// Clears the repository and writes every record of `fileRecords`.
  /// @return 0; 25 (reported) when the repository could not be cleared; 81 when a record failed.
  int SendBufferToBMC();

  /// Erases the repository and waits, as long as it takes, until the BMC says that it is done.
  /// @return 0; 81 when a request failed or 300 reservations were cancelled (27 reported then);
  ///   29 when a poll's answer has a wrong length; 26, 28 or 29 from the first clear.
  int ClearSDRRepository();

  /// Adds one record in pieces of at most 16 bytes; from its start again, at most 300 times, when
  /// the reservation is cancelled.
  /// @param record  its header and as many body bytes as the header says, if that is at most 64.
  /// @return 0; 58 when its body is longer than 64 bytes; 81 for every other failure.
  int SendSDRToBMC(const unsigned char* record);

  /// Reads the repository from record `recordId` to its end.
  /// @param slot   the end of a list, null there; the records read are linked to it.
  /// @param depth  how many records were read before `recordId`; 0 with the first one.
  /// @return 0 (also for a repository of which not even the first record can be read: it counts
  ///   as empty, which is logged); 2, 4, 5, 29 or 58, unreported; 81 when the retries ran out (27
  ///   reported).
  int ReadSDRFromBMC(SDRecord** slot, unsigned int recordId, int depth);

  /// Compares two lists record by record, all but the record IDs; a difference is logged.
  /// @return 0; 58 when the body lengths of two records differ; 81 for every other difference.
  int VerifySDRecords(const SDRecord* readBack, const SDRecord* expected);

  /// Frees a list and clears its head.
  void FreeSDRMem(SDRecord** head);

 protected:
  SDRecord* fileRecords = nullptr;  // the records to program, in order; owned
  SDRecord* bmcRecords = nullptr;   // the records read back; owned
  unsigned char request[kResponseBufferSize] = {};
  unsigned char response[kResponseBufferSize] = {};
  int sparedActive = 0;  // 1 while the spared mode is open: the read-back uses the OEM commands

  // What lives as long as the run, over several loads and the objects that perform them.
  struct RunState {
    int verify_count = 0;           // calls of VerifySDRecords(), one for each pair of records
    int read_back_count = 1;        // number of the record being read back
    bool repository_empty = false;  // the first read-back found nothing
    tarvek::RecordProgress read_back_progress{kReadBackEndPercent};
  };
  static RunState run_;

 private:
  enum class Attempt { kDone, kFailed, kCancelled };

  static constexpr int kReadBackEndPercent = 90;

  int Exchange(int length, int capacity, int* received);
  bool WasCancelled() const;
  int ReserveForReading();
  int ReserveOem();
  int WriteRecords();
  Attempt TryClear(int* status);
  int PollErase();
  Attempt TrySendRecord(const unsigned char* record, int total);
  Attempt SendPiece(int offset, int count, bool last);
  Attempt ReadPiece(unsigned int record_id, int offset, int count, int* received);
  Attempt TryReadRecord(unsigned int record_id, SDRecord** slot, unsigned int* next_id,
                        int* status);
  Attempt ReadRest(unsigned int record_id, SDRecord* record, int position, int* status);
  int ReadRecord(unsigned int record_id, SDRecord** slot, unsigned int* next_id);
  int FoundEmpty();
  void CountReadBack();
};

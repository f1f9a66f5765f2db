#include "simulator/fault_plan.h"

namespace bmcsim {

const char* const kFaultPlanHelp =
    R"(A fault plan is a file, or the plan's text itself; one rule a line (or separated by ';'),
'#' begins a comment:

  WHICH : ACTION [, ACTION]...

WHICH names requests, and may tell which of them by their count in this run:
  get-sdr             every Get SDR; the names are: get-device-id, get-sdr-repository-info,
                      reserve, get-sdr, clear, get-slot-information, spared, oem-reserve,
                      oem-get-sdr, oem-add, oem-clear; any stands for all
  F8/10/02            by bytes: NetFn/LUN, command, then data; * is any byte
  get-sdr@3           the third of them      get-sdr@3-5       the third to the fifth
  get-sdr@3-          from the third on      get-sdr@every 10  every tenth
  7                   the seventh request of the run, whatever it is (also 7-9, 7-, every 7)
  wait@2              the program's second wait (usleep, sleep, nanosleep); only for signal
                      and clock

ACTION is what happens to it:
  cc XX               the BMC refuses the request with completion code XX
  cc-after XX         the BMC carries it out and answers completion code XX all the same
  answer XX [XX]...   the BMC answers these bytes (completion code and data) and does nothing
  request OFF=XX...   the request's bytes from OFF on are changed before the BMC sees them
  data OFF=XX...      the answer's bytes from OFF on are changed; OFF counts from the answer's
                      NetFn/LUN byte as 0, the completion code is 2
  length N            the answer is cut or padded with 00 to N bytes in all
  netfn XX            the answer bears this NetFn/LUN byte
  command XX          the answer bears this command
  next XXXX           a Get SDR answer names this next record ID (0000 makes a loop)
  body-length XX      a Get SDR answer that holds the record's length byte says XX
  stuck               a clear answers that the erase is not complete
  send-error [E]      the driver refuses the request (maker's driver: the ioctl fails); E is an
                      errno by name or number, EIO if none is given; also ioctl-error
  select-error [E]    the request is carried out, waiting for the answer fails
  receive-error [E]   the request is carried out, receiving the answer fails
  silence [S]         the BMC does nothing; the driver gives up after S seconds (ETIMEDOUT, or
                      with cc or answer beside it that answer), without S never
  delay S             the answer comes S seconds later
  cancel              every reservation is cancelled before the request
  replace XXXX XX...  before the request the record with this ID (0000: the first, FFFF: the
                      last) becomes another one: SDR version, type, body length, body
  signal NAME [after] the program is sent the signal (KILL, TERM, ... or its number) before the
                      BMC sees the request, or after it was carried out
  clock +S            the program's wall clock jumps S seconds ahead, before the request; its
                      steady clock and the BMC's clock stay as they are
  clock -S            the same, back

Examples:
  oem-add@5: cancel                   the reservation is lost before the fifth piece
  oem-clear@1-299: cc C5              299 refused clears
  F8/10/02: cc D5                     the closing SparedSDR fails
  oem-get-sdr@2: cc C5, replace 0001 51 01 00
                                      the record changes while it is read, and is read again
  40: signal KILL                     the program dies before its 40th request
  wait@9: clock -3600                 somebody sets the clock back during the ninth wait
)";

}  // namespace bmcsim

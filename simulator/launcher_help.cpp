#include <string>

#include "simulator/fault_plan.h"
#include "simulator/launcher_options.h"

namespace bmcsim {
namespace {

constexpr char kUsage[] =
    R"(bmcsim: a simulated BMC with an SDR repository, under an unmodified program.

  bmcsim [OPTION]... -- PROGRAM [ARGUMENT]...   run the program on the simulated BMC
  bmcsim [OPTION]... --create                   make a simulated BMC
  bmcsim [--state FILE] --dump[=hex]            show its repository
  bmcsim [OPTION]... --serve SOCKET             be the BMC of a QEMU machine

The program's exit status is bmcsim's own; a mistake of bmcsim's own use ends with status 2, and
with --strict a rule of the fault plan that never struck with 125.
The BMC's memory is a file, so one run's update is the next run's repository, and several
programs may use it at once.

  --state FILE         the BMC's memory; default bmcsim.state, made if it does not exist
  --create             make it, and fail if it exists
  --dump, --dump=hex   print the repository for people; or one record a line, without its ID
  --help, --version

The run:
  --driver DRIVER      the driver that the machine has: openipmi (default; /dev/ipmi0), maker
                       (/dev/ipmidev), both or none; other nodes do not exist
  --node PATH          the OpenIPMI node, e.g. /dev/ipmidev/0 or /dev/ipmi/0
  --fault PLAN         a fault plan: a file, or its text; the rules that never struck are told at the
                       end of the run
  --strict             and make it end with status 125
  --trace FILE         append two lines for each request: "> " its bytes, "< " its answer's and
                       " ! " what the fault plan did to it
  --clock CLOCK        real (default); virtual: waits pass at once and time moves as if they had
                       not; virtual:EPOCH: likewise, from that second on, by nothing but waits
  --stats FILE         write at the end how many requests there were, and the simulator's CPU time

The BMC of a QEMU machine, whose kernel's own driver then talks to it:
  --serve SOCKET       make this unix socket and serve it until SIGTERM, SIGINT or SIGHUP; QEMU wants
                       -chardev socket,id=bmc,path=SOCKET,reconnect=1
                       -device ipmi-bmc-extern,id=ipmi,chardev=bmc -device isa-ipmi-kcs,bmc=ipmi
  --fault, --strict, --trace
                       as above, without the driver's own requests; the requests are counted from
                       bmcsim's start on. To one whose answer is lost, QEMU answers C3 after 4 s; a
                       silence without end makes its device stuck, and the driver gives up on it.
                       Signals strike bmcsim: after a KILL QEMU answers D2 for the dead BMC

The BMC; kept in its memory:
  --product XXXX       product ID, default 01A3
  --manufacturer XXXXXX  manufacturer ID, three bytes, lowest first; default 770000
  --device-revision XX default 01
  --ipmi-version V     1.0, 1.5 (default) or 2.0
  --no-aux             Device ID answers without the auxiliary firmware revision
  --slot XXXXXX        knows Get slot information and answers these three bytes
  --capacity N         bytes for records, default 65536, at most 131072
  --erase-polls N      status requests until an erase is complete, default 2
  --max-read N         bytes that one Get SDR can return, default 255
  --id-step N          distance between the record IDs that it assigns, default 1

The SDR set of a new BMC: 12 records and version 01.00, or exactly what these say:
  --records N          so many sensor and device records; 0 and nothing else: empty
  --version-text TEXT  a version record; "SDR Version " is put before a text that does not begin
                       with S
  --config-name TEXT   a record that names a configuration script, without .CFG
  --load FILE          the records of this file, before the others: a backup image, from which the
                       BMC takes the board's identity as well; records back to back, each with
                       its five-byte header; or a text as of --dump=hex, with or without record IDs

)";

}  // namespace

std::string LauncherHelp() { return std::string(kUsage) + kFaultPlanHelp; }

}  // namespace bmcsim

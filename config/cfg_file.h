// The configuration script: it decides, through tags and conditions, which SDR files are loaded
// and which of their tagged records apply to this machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "config/cfg_words.h"
#include "config/list_end.h"
#include "config/script_records.h"
#include "config/script_tags.h"
#include "sdrfile/utilities/csdr_header.h"
#include "sdrfile/utilities/file_record.h"
#include "sdrfile/utilities/tag_table.h"
#include "transport/request_exchange.h"

inline int gErrorLevel = 0;          // not 0: the report that ends a failed interpretation is
                                     // suppressed; set by nothing
inline unsigned char gTempFlag = 0;  // not 0: the echoes go to CFG.TMP and SDR.TMP instead of the
                                     // null device; set by nothing

inline constexpr int kMaxCfgArguments = 5;      // arguments that a line can hold
inline constexpr int kMaxCfgLines = 2'000'000;  // pieces of text that a script may have: an endless
                                                // pipe must come to an end
inline constexpr std::size_t kMaxTagArgument = 31;      // characters of a tag or a name
inline constexpr std::size_t kMaxDisplayArgument = 80;  // characters of a text to show

/// One stored line of a script; a node of a singly linked list in file order. Destroying a node
/// destroys and frees the rest of the list after it.
struct CfgLine {
  char text[kLineBufferSize] = {};         // as read; once lexed: the command word, and each
                                           // argument terminated behind it
  std::int32_t line_number = 0;            // where the line stands in the script, from 1
  std::int32_t argument_count = 0;         // arguments found, 0 to 5
  std::int32_t max_arguments = 0;          // how many its command takes
  std::int32_t max_argument_length = 0;    // how long one may be, in characters
  std::int32_t id = kCfgNone;              // its command, a CfgCommand; 0 until lexed
  char* arguments[kMaxCfgArguments] = {};  // point into `text`; null behind the last
  CfgLine* next = nullptr;

  CfgLine() = default;
  CfgLine(const CfgLine&) = delete;
  CfgLine& operator=(const CfgLine&) = delete;
  ~CfgLine() { tarvek::FreeRestOfList(next); }
};

/// The state of one script run. Owns its lists.
struct CfgStruct {
  std::FILE* fp = nullptr;          // the script while it is read
  std::int32_t line_number = 0;     // pieces of text read so far
  char line[kLineBufferSize] = {};  // the current piece
  char work[33] = {};               // the name that CONFIGURATION gave
  CMenu* menus = nullptr;
  Probe* probes = nullptr;
  IfSet* conditions = nullptr;
  CFRUName* fru_names = nullptr;
  CSDRHeader* sdr_files = nullptr;  // the SDR files to load, in script order
  TagTbl* tags = nullptr;           // the tags that are set, in order of setting

  CfgStruct() = default;
  CfgStruct(const CfgStruct&) = delete;
  CfgStruct& operator=(const CfgStruct&) = delete;
  ~CfgStruct();
};

class CfgFile : public CProto {
 public:
  explicit CfgFile(unsigned short protocol = kProtocolId) : CProto(protocol) {}
  CfgFile(const CfgFile&) = delete;
  CfgFile& operator=(const CfgFile&) = delete;
  /// Frees everything that the object holds.
  virtual ~CfgFile();

  /// Runs a whole script: reads, lexes and interprets it, then loads the SDR files that it named,
  /// with the tags that it left set. Nothing is loaded when a step before fails.
  /// @return 0, also for a script that names no file; else an error status that was reported.
  ESTATUS Process(const char* path);

  // Reading. These and the lexer work on the state that Process() makes.

  /// Reads the script into the list of lines. Each kept line must begin with a command word; what
  /// follows the word is the lexer's to judge, deliberately: the status that reaches the user
  /// depends on which of the two finds the fault.
  /// @return 0; 67 when the script cannot be opened, or not be read to its end (unreported); 81
  ///   when a line begins with no command word (11 reported); 2 when memory ran out or the script
  ///   has more than `kMaxCfgLines` lines (unreported).
  ESTATUS Read(const char* path);
  /// Reads on to the next line that is not blank and not a comment, into the state's `line`,
  /// cleaned. A line of more than 255 characters comes in pieces that each count as a line.
  /// @return 1; 0 at the end of the script, when there are too many lines, and at a read error,
  ///   which takes the line that it struck with it.
  int ReadLine();
  /// Moves the text left over its leading blanks and tabs.
  void RemoveIndent(char* line) const;
  /// Cuts the comment ("//" outside double quotes), then trailing blanks, tabs and line ends.
  /// @return 0.
  ESTATUS RemoveComments(char* line) const;
  /// Empties a line that begins with a comment or a line end.
  /// @return 1 when there is something on the line, else 0.
  int IsLineGood(char* line) const;
  /// Appends a line with the current line number. A text of more than 255 characters is cut.
  /// @return 0; 2 when memory ran out.
  ESTATUS Add(CfgLine** list, const char* text);

  // Lexing.

  /// Lexes every line of the list; stops at the first faulty one.
  /// @return 0; 81 after a fault: 11 and the fault's own status are reported.
  ESTATUS Parse();
  /// Lexes the line under the cursor. After a fault its text is empty.
  /// @return 0; 13 without a command word that a delimiter follows; 24 with too many arguments;
  ///   or what ParseLine() returned.
  ESTATUS GetCfgWord();
  /// Splits the arguments from `rest`, the part of the cursor line's text behind its command.
  /// @return 0; 8, 14, 20, 22, 24 or 69.
  ESTATUS ParseLine(char* rest);

  // Interpreting.

  /// Interprets lines from the cursor on, to the end of the list, a failure, or the ENDIF of the
  /// block that the flags describe; there the cursor stays on the ENDIF. Blocks that begin on the
  /// way are kept on a list, not on the stack: nesting may be as deep as the script is long.
  /// @param fru       handed to the handlers; may be null.
  /// @param inIf      1 inside an IFSET block.
  /// @param condTrue  1 in the branch that the block's condition selects.
  /// @param exec      1 when the block is to be run at all.
  /// @return 0; 19 when an IFSET has no ENDIF; 13 at a line without a command; 2 when memory ran
  ///   out; or the status of the handler that failed. Nothing is reported here.
  ESTATUS Interpret(CFRU* fru, int inIf, int condTrue, int exec);

  // The command handlers, for the line under the cursor; the flags are those of Interpret(). They
  // return 0 or an error status, unreported. All but IFSET, ELSE and ENDIF do nothing in a branch
  // that is skipped. Those without a comment are commands of the larger script language: 11 in a
  // branch that runs.

  /// Announces the script by name. 15, 7 or 24 for wrong arguments.
  ESTATUS CmdConfiguration(int inIf, int condTrue, int exec);
  /// Logs a text. 15, 7 or 24 for wrong arguments; then 11 if the command is MENUTITLE.
  ESTATUS CmdDisplay(int inIf, int condTrue, int exec);
  ESTATUS CmdMenuPrompt(int inIf, int condTrue, int exec);
  ESTATUS CmdMenu(int inIf, int condTrue, int exec);
  ESTATUS CmdProbe(CFRU* fru, int inIf, int condTrue, int exec);
  ESTATUS CmdFound(int inIf, int condTrue, int exec);
  ESTATUS CmdPrompt(int inIf, int condTrue, int exec);
  ESTATUS CmdYes(int inIf, int condTrue, int exec);
  ESTATUS CmdNo(int inIf, int condTrue, int exec);
  /// Opens a block, also in a skipped branch; there nothing inside it acts. Its condition is true
  /// when every argument names a set tag. 16, 7 or 24 for wrong arguments; 2 without memory.
  ESTATUS CmdIfSet(CFRU* fru, int inIf, int condTrue, int exec);
  /// Flips `*condTrue`: a second ELSE returns to the first branch, deliberately.
  /// @return 0; 17 outside a block; 6 with an argument.
  ESTATUS CmdElse(int inIf, int* condTrue);
  /// Tests an ENDIF; Interpret() ends the block.
  /// @return 0; 18 outside a block; 6 with an argument.
  ESTATUS CmdEndIf(int inIf);
  /// Clears the FRU name's field, also in a skipped branch.
  ESTATUS CmdFruName(CFRU* fru, int inIf, int condTrue, int exec);
  ESTATUS CmdFruAddress(CFRU* fru, int inIf, int condTrue, int exec);
  ESTATUS CmdFruArea(CFRU* fru, int inIf, int condTrue, int exec);
  ESTATUS CmdFruField(CFRU* fru, int inIf, int condTrue, int exec);
  /// Tests that an SDR file can be opened and queues it for its pass. 15, 7 or 24 for wrong
  /// arguments; 68 when the file cannot be opened or is empty; 9 for a wrong mode; 2 (reported).
  ESTATUS CmdSdrName(int inIf, int condTrue, int exec);
  /// Sets a tag, again if it is set already. 15, 7 or 24 for wrong arguments; 2 (reported).
  ESTATUS CmdSet(int inIf, int condTrue, int exec);
  /// Clears the first setting of a tag, if there is one. 15, 7 or 24 for wrong arguments.
  ESTATUS CmdClear(int inIf, int condTrue, int exec);
  ESTATUS CmdClearSdr(int inIf, int condTrue, int exec);
  ESTATUS CmdErrorLevel(int inIf, int condTrue, int exec);
  ESTATUS CmdBoot(int inIf, int condTrue, int exec);

  /// Appends a tag, of which 31 characters are kept.
  /// @return 0; 2 when memory ran out.
  ESTATUS Add(TagTbl** list, const char* tag);
  /// Appends an SDR file with the compare flag of the last SDRNAME.
  /// @param pass  1: the first pass, 0: the last one.
  /// @return 0; 2 when memory ran out.
  ESTATUS Add(CSDRHeader** list, const char* filename, int pass);
  /// Removes the first tag of that name, in any letter case.
  /// @return 0; 81 when there is none (nothing was reported).
  ESTATUS ClearTag(TagTbl** list, const char* tag);
  /// Loads the SDR files of one pass, in script order, until one fails. A program that shows what
  /// a script does instead of doing it puts its own in the place: the script was interpreted then,
  /// and nothing of it loaded.
  /// @return 0; the status of the file that failed (reported); 2 (reported).
  virtual ESTATUS WhileSDRFilesToLoad(int pass);
  /// Leaves the name as it is: no extension is added.
  /// @return 0.
  int GetFilename(char* name, const char* extension) const;

 protected:
  CfgStruct* state = nullptr;                          // while a script is processed; owned
  char last_sdr_name[kLineBufferSize] = {};            // the last file that SDRNAME named
  CMultiRecordAreaList* multi_record_areas = nullptr;  // used by no command; owned
  int ifset_depth = 0;                                 // open IFSET blocks
  std::int16_t fru_name_field = 0;                     // cleared by FRUNAME
  std::int16_t compare = 0;                            // the compare flag of the last SDRNAME
  std::size_t matched_length = 0;  // characters of the command word last matched; 0 after a fault
  CPrompts prompts;
  int prompt_mode = 2;  // of the larger script language, like the next one
  int prompt_answer = 0;
  FileRecord sdr_test;             // the SDR file that SDRNAME tests
  CFRUFile* fru_file = nullptr;    // used by no command; owned
  CFRUField* fru_field = nullptr;  // used by no command; owned
  CfgLine* cursor = nullptr;       // the line being worked on; null past the end
  CfgLine* lines = nullptr;        // the script; owned

 private:
  /// An IFSET block that is open, and the one around it.
  struct Block {
    int in_if;
    int branch;  // 1: the branch that the condition selects
    int run;     // 1: the block is to be run at all
    Block* outer;
  };

  ESTATUS ReportOutOfMemory();
  ESTATUS RunScript(const char* path);
  ESTATUS EchoScript();
  ESTATUS InterpretScript(CFRU* fru);
  ESTATUS LoadSdrFiles();
  ESTATUS LoadPass(int pass);
  void FreeScript();

  bool AtEnd() const;
  int NextByte();
  bool ReadPiece();
  ESTATUS AddCommand();

  ESTATUS TakeCommand(const CfgWord& word);
  ESTATUS TakeArgument(char** rest);
  void RecordArgument(char* argument);

  bool BeginLists();
  void EndLists();
  ESTATUS InterpretLines(CFRU* fru, Block* base);
  ESTATUS Dispatch(CFRU* fru, Block* block);
  void CloseBlock();
  ESTATUS CheckFirstArgument(ESTATUS without, std::size_t max_length, int max_arguments) const;
  bool AllTagsSet();
  bool IsTagSet(const char* name);
  ESTATUS ApplyModes(int* pass);

  Block* open_block = nullptr;  // the innermost block that CmdIfSet() opened; owned
  std::optional<tarvek::ListEnd<CfgLine>> end_of_lines;         // while a script is read
  std::optional<tarvek::ListEnd<CSDRHeader>> end_of_sdr_files;  // while one is interpreted
  std::optional<tarvek::ScriptTags> script_tags;                // likewise: those of `state`
};

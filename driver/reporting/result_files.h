// The XML result files and the progress file, through which the caller learns how a run
// went, and the answer to a progress query.
#pragma once

#include <ctime>
#include <string_view>

#include "driver/reporting/text_format.h"

inline tarvek::PathText xml_path;      // directory prefix of every result file: "" or "../" pieces
inline int g_ratio = 0;                // progress of the running update, percent
inline std::time_t ok_start_time = 0;  // when an update's first "OK" file was written; 0: not yet
inline int type2_wait_time = 30;       // least seconds between that file and the final result

/// Fixes `xml_path`: the nearest directory, from the working directory upwards, that holds
/// "ZetaInfo.xml" (only its existence matters), or the working directory if there is none, or none
/// that a path of "../" pieces with a result file's name behind them leads to.
void set_xml_path();

/// @return the path of the result file `name`: `xml_path` and the name.
tarvek::PathText get_xml_file(const char* name);

/// Writes a result file in one go, as output_file.h promises. Data that is longer than the text may
/// be is cut; the markup around it is whole.
///
/// In an update (mode 2 or 3) whose "OK" file was written, the call first sleeps until
/// `type2_wait_time` seconds have passed since then: a failure found early is held back.
///
/// @param mode  a RunMode that has a result file, or kProgressFile.
/// @param code  the result code.
/// @param data1, data2  mode 1: comparison word and BMC version; modes 5 and 7: `data1` is the
///   data; modes 2 and 3: not used.
/// @return 0 when written or when there is nothing to write (direct run, no run mode, a mode
///   without a file), 1 when the file could not be created or written.
int XmlWrite(int mode, std::string_view code, std::string_view data1, std::string_view data2);

/// Logs the message of `code`, also when it is empty, and, unless the run is direct or a
/// backup, writes `code` with empty data into the run's result file.
void OutputDataCreate(std::string_view code);

/// @return the history-log message of a result code; empty for a code without one.
std::string_view GetErrorMessage(std::string_view code);

/// @return `g_ratio` in decimal. The argument is not looked at; every caller passes `g_ratio`.
tarvek::Text IntToString(int ratio);

/// Answers a progress query: copies the progress file to "Get_ratio.xml", or writes code
/// "No-Command" there when no update is running.
/// @return 0 when answered; 1 when the answer could not be created, or when twelve copies
///   failed and "SDRC08" was reported.
int CopyXmlFile();

/// Copies a file that the tool has written itself (OpenOwnInput()) byte for byte, as output_file.h
/// promises. `unused` is not looked at; write errors are not either.
/// @return 1 when the destination could be created, else 0; 0 also for a source that cannot be
///   read, that changes its size meanwhile, or that has more than kLongestOutput bytes: nothing is
///   copied by half.
int CopyFile(const char* source, const char* destination, int unused);

/// Deletes the progress file at the end of an update: at most 12 tries, 500 ms apart.
void RemoveProgressFile();

#pragma once

namespace boardctl {

/// One run of the tool: parses the words of the command line, runs what they select, and returns
/// the exit status. Every standard exception ends here: its message goes to standard error, the
/// usage text to standard output, and the status is 0, which scripts rely on. Output that could not
/// be written is reported on standard error when the run ends and leaves the status as it is.
int runTool(int argc, const char* const* argv);

}  // namespace boardctl

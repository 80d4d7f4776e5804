#pragma once

namespace exporter {

/// An option of the command line.
struct OptionRow {
  char letter;       ///< 0 for none
  const char* name;  ///< without the hyphens
  const char* hint;  ///< what follows: empty for nothing, words to choose from are parted by '|'
  const char* help;  ///< sentences
};

/// The parser, the help, the manual page and the completions read this table.
inline constexpr OptionRow kOptionRows[] = {
    {'m', "manifest", "FILE", "The manifest, as for boardctl. Required."},
    {'p', "profile", "FILE", "The profile, as for boardctl."},
    {'t', "properties-file", "FILE", "The properties file, as for boardctl."},
    {0, "devices", "LIST",
     "The devices to read, for instance gpu:0-7,hsc:0-9,fpga:0. Numbers are 0 to 255. Required."},
    {0, "properties", "PATTERNS",
     "The properties to read, for instance gpu.thermal.*,gpu.power.*; an asterisk stands for any "
     "characters. Default: all."},
    {0, "mode", "0|1", "0 reads the last snapshot, 1 the device itself. Default: 0."},
    {0, "format", "prometheus|json", "The format of the output. Default: prometheus."},
    {0, "output", "FILE", "Replace this file each time. Default: standard output."},
    {0, "every", "SECONDS",
     "Keep running, and read the devices at this interval. On SIGTERM, SIGINT and SIGHUP the "
     "output file is removed."},
    {0, "read-timeout", "SECONDS",
     "Give up a device that takes longer to answer one read. Default: 2."},
    {0, "timeout", "SECONDS",
     "Deliver what there is after this time, which includes the six seconds of a start. "
     "Default: 20."},
    {0, "label", "NAME=VALUE", "Add a label to everything. Can be repeated."},
    {0, "names", "FILE", "Rules that give properties a metric of their own, as JSON."},
    {0, "library", "FILE",
     "The device library. A name without a slash is looked up by the dynamic loader. Default: "
     "libdevmgr.so.0."},
    {'h', "help", "", "Print this help."},
    {0, "version", "", "Print the version."},
};

}  // namespace exporter

// "/conf/syslog.conf": the text the writer produces and the parse of its
// header comments at start-up. Pure: no files, no block.
#pragma once

#include <string>

#include "config/syslog/syslog_layout.h"

namespace qrx::config::syslog {

// The base block: header comments and the local log files.
std::string baseBlock(const SyslogConfig &c);
// TLS settings for protocols 2 and 3; empty for the others.
std::string tlsBlock(int protocol);
// Forwarding lines of the four destinations and their test lines.
std::string destinationBlock(const SyslogConfig &c);
// The whole file as the writer produces it for this configuration.
std::string configText(const SyslogConfig &c);

// Applies one line of the file (line end removed) to config; only the header
// lines count. tagSeen receives the TAG value of a "#SYSLOG" line.
void applyHeaderLine(const char *line, SyslogConfig &config, int &tagSeen);

}  // namespace qrx::config::syslog

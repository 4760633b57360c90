// "/conf/syslog.conf": the text the writer produces and the parse of its
// header comments at start-up. Pure: no files, no block.
#pragma once

#include <cstddef>
#include <string_view>

#include "config/syslog/syslog_layout.h"

namespace qrx::config::syslog {

// Text of the file in a fixed buffer. The whole file is about 3 KiB; the
// buffer holds more than twice that, and an append that would not fit is cut
// rather than written past the end.
class ConfigText {
public:
    static constexpr std::size_t kCapacity = 8192;
    void append(std::string_view text);
    void appendf(const char *format, ...) __attribute__((format(printf, 2, 3)));
    std::string_view view() const { return {buffer_, length_}; }

private:
    char buffer_[kCapacity] = {};
    std::size_t length_ = 0;
};

// The base block: header comments and the local log files.
void baseBlock(const SyslogConfig &c, ConfigText &out);
// TLS settings for protocols 2 and 3; nothing for the others.
void tlsBlock(int protocol, ConfigText &out);
// Forwarding lines of the four destinations and their test lines.
void destinationBlock(const SyslogConfig &c, ConfigText &out);
// The whole file as the writer produces it for this configuration.
ConfigText configText(const SyslogConfig &c);

// Applies one line of the file (line end removed) to config; only the header
// lines count. tagSeen receives the TAG value of a "#SYSLOG" line.
void applyHeaderLine(const char *line, SyslogConfig &config, int &tagSeen);

}  // namespace qrx::config::syslog

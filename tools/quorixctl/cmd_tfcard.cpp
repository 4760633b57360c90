// quorixctl tfcard: the TF card's images, copies and self-test.
#include <cstdio>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

int result(int rc) {
    std::printf("result %d\n", rc);
    return rc == 0 ? kExitOk : kExitFailed;
}

int runList(const Args &args) {
    if (args.size() != 1) return usageError("tfcard list SUBDIR");
    char current[64] = {}, previous[64] = {};
    int rc = common_get_file_list_from_tf_card(args[0].c_str(), current, previous);
    if (rc != 0) return result(rc);
    std::printf("current:  %s\nprevious: %s\n", current, previous);
    return kExitOk;
}

int runCopy(const Args &args) {
    if (args.size() != 3) return usageError("tfcard copy SOURCE NAME SUBDIR");
    return result(common_copy_file_to_tf_card(args[0].c_str(), args[1].c_str(), args[2].c_str()));
}

int runCopyImage(const Args &args) {
    if (args.size() != 3) return usageError("tfcard copy-image SOURCE IMAGE. SUBDIR");
    return result(common_copy_ima_file_to_tf_card(args[0].c_str(), args[1].c_str(), args[2].c_str()));
}

int runCheckVersion(const Args &args) {
    if (args.size() != 2) return usageError("tfcard check-version VERSION SUBDIR");
    int rc = common_check_ima_file_version_tf_card(args[0].c_str(), args[1].c_str());
    std::printf("%s\n", rc == 0 ? "found" : rc == 3 ? "not found" : rc == 2 ? "no such directory" : "failed");
    return rc == 0 ? kExitOk : kExitFailed;
}

int runCopyLog(const Args &args) {
    if (args.size() != 1) return usageError("tfcard copy-log SOURCE");
    return result(common_copy_log_to_tf_card(args[0].c_str()));
}

int runTest(const Args &args) {
    if (args.size() > 1) return usageError("tfcard test [NAME]");
    int rc = test_file(args.empty() ? "tfcard_test.txt" : args[0].c_str());
    std::printf("%s (0x%02X)\n", rc == 0 ? "passed" : rc == 0x80 ? "no card" : "write/read failed", rc);
    return rc == 0 ? kExitOk : kExitFailed;
}

}  // namespace

std::vector<Command> tfcardCommands() {
    return {
        {"tfcard", "list", "SUBDIR", "current and previous image of a card directory", runList},
        {"tfcard", "copy", "SOURCE NAME SUBDIR", "mount the card and copy a file to it", runCopy},
        {"tfcard", "copy-image", "SOURCE IMAGE. SUBDIR", "copy an image as IMAGE.new, keeping one .old", runCopyImage},
        {"tfcard", "check-version", "VERSION SUBDIR", "whether an image of that version is on the card",
         runCheckVersion},
        {"tfcard", "copy-log", "SOURCE", "mount the card and copy a log to its top directory", runCopyLog},
        {"tfcard", "test", "[NAME]", "write/read self-test of the card", runTest},
    };
}

}  // namespace ctl

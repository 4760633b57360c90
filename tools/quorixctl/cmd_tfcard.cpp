// quorixctl tfcard: the TF card's images, copies and self-test.
#include <cstdio>

#include "command.h"
#include "quorix_common_interface.h"

namespace ctl {
namespace {

// The results of the copy and list operations, by name.
const char *resultName(int rc) {
    switch (rc) {
        case 0: return "done";
        case 1: return "no card (no /dev/mmcblk0p1)";
        case 2: return "no mount point or directory on the card";
        case 3: return "not found";
        case 0x80: return "no card or no mount point";
        case 0xCC: return "write/read failed";
        default: return "failed";
    }
}

int result(int rc) {
    std::printf("%s (%d)\n", resultName(rc), rc);
    return rc == 0 ? kExitOk : kExitFailed;
}

int runList(const Args &args) {
    expectArgs(args, 1, 1);
    char current[64] = {}, previous[64] = {};
    int rc = common_get_file_list_from_tf_card(args[0].c_str(), current, previous);
    if (rc != 0) return result(rc);
    std::printf("current:  %s\nprevious: %s\n", current, previous);
    return kExitOk;
}

int runCopy(const Args &args) {
    expectArgs(args, 3, 3);
    readableFile(args[0]);
    return result(common_copy_file_to_tf_card(args[0].c_str(), args[1].c_str(), args[2].c_str()));
}

int runCopyImage(const Args &args) {
    expectArgs(args, 3, 3);
    readableFile(args[0]);
    return result(common_copy_ima_file_to_tf_card(args[0].c_str(), args[1].c_str(), args[2].c_str()));
}

int runCheckVersion(const Args &args) {
    expectArgs(args, 2, 2);
    const int rc = common_check_ima_file_version_tf_card(args[0].c_str(), args[1].c_str());
    std::printf("%s (%d)\n", rc == 0 ? "found" : rc == 2 ? "no such directory on the card" : resultName(rc), rc);
    return rc == 0 ? kExitOk : kExitFailed;
}

int runCopyLog(const Args &args) {
    expectArgs(args, 1, 1);
    readableFile(args[0]);
    return result(common_copy_log_to_tf_card(args[0].c_str()));
}

int runTest(const Args &args) {
    expectArgs(args, 0, 1);
    int rc = test_file(args.empty() ? "tfcard_test.txt" : args[0].c_str());
    std::printf("%s (0x%02X)\n", rc == 0 ? "passed" : resultName(rc), rc);
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

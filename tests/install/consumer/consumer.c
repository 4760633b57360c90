#include <quorix_common_interface.h>

int main(void) { return TranslateToSyslogLevel(3) == 2u ? 0 : 1; }

// The public header's layout constants against the internal layouts: a
// caller who builds records from the header gets the bytes the library reads.
// Request layouts private to a handler are checked in that handler's source.
#include "config/password_rule/password_rule_layout.h"
#include "config/smtp/smtp_layout.h"
#include "config/snmp/snmp_agent_layout.h"
#include "config/snmp/snmp_trap_layout.h"
#include "config/syslog/syslog_layout.h"
#include "core/completion_codes.h"
#include "devstate/psu_layout.h"
#include "diag/debug_log.h"
#include "quorix_common_interface.h"
#include "update/update_layout.h"

namespace qrx {
namespace {

constexpr bool sameText(const char *a, const char *b) { return *a == *b && (*a == '\0' || sameText(a + 1, b + 1)); }

// Debug log.
static_assert(sameText(QUORIX_DEBUG_DIR, diag::kDebugDir));
static_assert(sameText(QUORIX_DEBUG_RELOAD_MARKER, diag::kReloadMarker));
static_assert(QUORIX_DEBUG_MODULE_NAME_MAX == diag::kModuleNameMax && QUORIX_DEBUG_MODULE_SLOTS == diag::kModuleSlots);

// Completion codes.
static_assert(QUORIX_CC_OK == cc::kCcOk && QUORIX_CC_REQ_DATA_LEN_INVALID == cc::kCcReqDataLenInvalid &&
              QUORIX_CC_PARAM_OUT_OF_RANGE == cc::kCcParamOutOfRange &&
              QUORIX_CC_INVALID_DATA_FIELD == cc::kCcInvalidDataField && QUORIX_CC_NOT_ALLOWED_NOW == cc::kCcNotAllowedNow &&
              QUORIX_CC_UNSPECIFIED == cc::kCcUnspecified);

// Syslog.
namespace sl = config::syslog;
static_assert(QUORIX_SYSLOG_DEST_COUNT == sl::kDestCount && QUORIX_SYSLOG_DEST_ENABLE == sl::kDestEnable &&
              QUORIX_SYSLOG_DEST_TYPE == sl::kDestType && QUORIX_SYSLOG_DEST_HOST == sl::kDestHost &&
              QUORIX_SYSLOG_DEST_HOST_SIZE == sl::kDestHostSize && QUORIX_SYSLOG_DEST_PORT == sl::kDestPort &&
              QUORIX_SYSLOG_DEST_SIZE == sl::kDestRecordSize);
static_assert(QUORIX_SYSLOG_GLOBALS_SIZE == sl::kGlobalsSize && QUORIX_SYSLOG_WRITER_DESTS == sl::kWriterDestOffset &&
              QUORIX_SYSLOG_WRITER_TEST_TARGET == sl::kWriterTestTarget &&
              QUORIX_SYSLOG_WRITER_SIZE == sl::kWriterRecordSize && QUORIX_SYSLOG_TAG_SIZE == sl::kTagTextSize);
// The globals lie in the block in the order of requests and responses.
static_assert(QUORIX_SYSLOG_GLOBAL_SYSLOG == 0 && QUORIX_SYSLOG_GLOBAL_TAG == sl::kTagOffset - sl::kSyslogEnableOffset &&
              QUORIX_SYSLOG_GLOBAL_LEVEL == sl::kLevelOffset - sl::kSyslogEnableOffset &&
              QUORIX_SYSLOG_GLOBAL_PROTOCOL == sl::kProtocolOffset - sl::kSyslogEnableOffset);
static_assert(QUORIX_SYSLOG_GET_GLOBALS_LEN == 1 + sl::kGlobalsSize &&
              QUORIX_SYSLOG_GET_DESTS_LEN == 1 + sl::kDestCount * sl::kDestRecordSize);

// SNMP trap.
namespace tr = config::snmptrap;
static_assert(QUORIX_TRAP_VERSION == tr::kVersion && QUORIX_TRAP_EVENT_LEVEL == tr::kEventLevel &&
              QUORIX_TRAP_COMMUNITY == tr::kCommunity && QUORIX_TRAP_COMMUNITY_SIZE == tr::kCommunitySize &&
              QUORIX_TRAP_HOST_ID == tr::kHostId && QUORIX_TRAP_HOST_ID_SIZE == tr::kHostIdSize &&
              QUORIX_TRAP_USER_NAME == tr::kUserName && QUORIX_TRAP_USER_NAME_SIZE == tr::kUserNameSize &&
              QUORIX_TRAP_AUTH_PROTOCOL == tr::kAuthProtocol && QUORIX_TRAP_AUTH_PROTOCOL_SIZE == tr::kAuthProtocolSize &&
              QUORIX_TRAP_AUTH_PASSWORD == tr::kAuthPassword && QUORIX_TRAP_PASSWORD_SIZE == tr::kPassSize &&
              QUORIX_TRAP_PRIV_PROTOCOL == tr::kPrivProtocol && QUORIX_TRAP_PRIV_PROTOCOL_SIZE == tr::kPrivProtocolSize &&
              QUORIX_TRAP_PRIV_PASSWORD == tr::kPrivPassword && QUORIX_TRAP_ENGINE_ID == tr::kEngineId &&
              QUORIX_TRAP_ENGINE_ID_SIZE == tr::kEngineIdSize && QUORIX_TRAP_DEVICE_TYPE == tr::kDeviceType &&
              QUORIX_TRAP_RECORD_SIZE == tr::kRecordSize);
static_assert(QUORIX_TRAP_DEST_COUNT == tr::kDestCount && QUORIX_TRAP_DEST_ENABLED == tr::kDestEnabled &&
              QUORIX_TRAP_DEST_ADDRESS == tr::kDestAddress && QUORIX_TRAP_DEST_ADDRESS_SIZE == tr::kDestAddressSize &&
              QUORIX_TRAP_DEST_PORT == tr::kDestPort && QUORIX_TRAP_DEST_SIZE == tr::kDestEntrySize &&
              QUORIX_TRAP_DESTS_SIZE == tr::kDestBlockSize);
static_assert(QUORIX_TRAP_GET_RECORD_LEN == 1 + tr::kRecordSize && QUORIX_TRAP_GET_DESTS_LEN == 1 + tr::kDestBlockSize);

// SNMP agent.
namespace ag = config::snmpagent;
static_assert(QUORIX_AGENT_V1_ENABLE == ag::kV1Enable && QUORIX_AGENT_V2_ENABLE == ag::kV2Enable &&
              QUORIX_AGENT_RO_COMMUNITY == ag::kReadOnlyCommunity && QUORIX_AGENT_RW_COMMUNITY == ag::kReadWriteCommunity &&
              QUORIX_AGENT_COMMUNITY_SIZE == ag::kCommunitySize && QUORIX_AGENT_V1V2_SET_ENABLE == ag::kV1V2SetEnable &&
              QUORIX_AGENT_V3_ENABLE == ag::kV3Enable && QUORIX_AGENT_AUTH_PROTOCOL == ag::kAuthProtocol &&
              QUORIX_AGENT_PRIV_PROTOCOL == ag::kPrivProtocol && QUORIX_AGENT_USER_NAME == ag::kUserName &&
              QUORIX_AGENT_USER_NAME_SIZE == ag::kUserNameSize && QUORIX_AGENT_AUTH_PASSWORD == ag::kAuthPassword &&
              QUORIX_AGENT_PRIV_PASSWORD == ag::kPrivPassword && QUORIX_AGENT_PASSWORD_SIZE == ag::kPassSize &&
              QUORIX_AGENT_RECORD_SIZE == ag::kRecordSize && QUORIX_AGENT_GET_LEN == 1 + ag::kRecordSize);

// SMTP.
namespace sm = config::smtp;
static_assert(QUORIX_SMTP_ENABLED == sm::kEnabled && QUORIX_SMTP_SERVER == sm::kServer &&
              QUORIX_SMTP_SERVER_SIZE == sm::kServerSize && QUORIX_SMTP_PORT == sm::kPort &&
              QUORIX_SMTP_SECURE_PORT == sm::kSecurePort && QUORIX_SMTP_STARTTLS == sm::kStartTls &&
              QUORIX_SMTP_SSL_TLS == sm::kSslTls && QUORIX_SMTP_AUTH == sm::kAuth && QUORIX_SMTP_USER_NAME == sm::kUserName &&
              QUORIX_SMTP_USER_NAME_SIZE == sm::kUserNameSize && QUORIX_SMTP_PASSWORD == sm::kPassword &&
              QUORIX_SMTP_PASSWORD_SIZE == sm::kPasswordSize && QUORIX_SMTP_SENDER == sm::kSender &&
              QUORIX_SMTP_SENDER_SIZE == sm::kSenderSize && QUORIX_SMTP_SUBJECT == sm::kSubject &&
              QUORIX_SMTP_SUBJECT_SIZE == sm::kSubjectSize && QUORIX_SMTP_HOST_NAME == sm::kHostName &&
              QUORIX_SMTP_SERIAL_NUMBER == sm::kSerialNumber && QUORIX_SMTP_ASSET_TAG == sm::kAssetTag &&
              QUORIX_SMTP_EVENT_LEVEL == sm::kEventLevel && QUORIX_SMTP_RECORD_SIZE == sm::kRecordSize);
static_assert(QUORIX_SMTP_RCPT_COUNT == sm::kRcptCount && QUORIX_SMTP_RCPT_ENABLED == sm::kRcptEnabled &&
              QUORIX_SMTP_RCPT_ADDRESS == sm::kRcptAddress && QUORIX_SMTP_RCPT_ADDRESS_SIZE == sm::kRcptAddressSize &&
              QUORIX_SMTP_RCPT_DESCRIPTION == sm::kRcptDescription &&
              QUORIX_SMTP_RCPT_DESCRIPTION_SIZE == sm::kRcptDescriptionSize && QUORIX_SMTP_RCPT_SIZE == sm::kRcptEntrySize &&
              QUORIX_SMTP_RCPTS_SIZE == sm::kRecipientsSize);
static_assert(QUORIX_SMTP_GET_RECORD_LEN == 1 + sm::kRecordSize && QUORIX_SMTP_GET_RCPTS_LEN == 1 + sm::kRecipientsSize);

// Password rule: the single parameters are the fields in order.
namespace pr = pwrule;
static_assert(QUORIX_PWRULE_ENABLED == pr::kEnabledOffset && QUORIX_PWRULE_MIN_LENGTH == pr::kMinLengthOffset &&
              QUORIX_PWRULE_COMPLEXITY == pr::kComplexityOffset && QUORIX_PWRULE_CLASS_MASK == pr::kClassMaskOffset &&
              QUORIX_PWRULE_MAX_AGE_DAYS == pr::kMaxAgeDaysOffset && QUORIX_PWRULE_HISTORY_DEPTH == pr::kHistoryDepthOffset &&
              QUORIX_PWRULE_LOCKOUT_ATTEMPTS == pr::kLockoutAttemptsOffset &&
              QUORIX_PWRULE_LOCKOUT_MINUTES == pr::kLockoutMinutesOffset && QUORIX_PWRULE_RECORD_SIZE == pr::kRecordSize &&
              QUORIX_PWRULE_GET_LEN == 1 + pr::kRecordSize && QUORIX_PWRULE_SET_WHOLE_LEN == 1 + pr::kRecordSize);
static_assert(pr::kFields[0].offset == QUORIX_PWRULE_ENABLED && pr::kFields[4].offset == QUORIX_PWRULE_MAX_AGE_DAYS &&
              pr::kFields[7].offset == QUORIX_PWRULE_LOCKOUT_MINUTES && pr::kFieldCount == 8);

// PSU summary record.
namespace ps = psu::sum;
static_assert(QUORIX_PSU_INFO_INDEX == ps::kIndex && QUORIX_PSU_INFO_PRESENT == ps::kPresent &&
              QUORIX_PSU_INFO_WORK_MODE == ps::kWorkMode && QUORIX_PSU_INFO_STATUS_WORD == ps::kStatusWord &&
              QUORIX_PSU_INFO_PS_STATUS == ps::kPsStatus && QUORIX_PSU_INFO_INPUT_TYPE == ps::kInputType &&
              QUORIX_PSU_INFO_PWR_GOOD == ps::kPwrGood && QUORIX_PSU_INFO_FAN_STATUS == ps::kFanStatus &&
              QUORIX_PSU_INFO_AMBIENT_TEMPERATURE == ps::kAmbientTemperature &&
              QUORIX_PSU_INFO_SECONDARY_TEMPERATURE == ps::kSecondaryTemperature &&
              QUORIX_PSU_INFO_PRIMARY_TEMPERATURE == ps::kPrimaryTemperature &&
              QUORIX_PSU_INFO_INPUT_POWER == ps::kInputPower && QUORIX_PSU_INFO_OUTPUT_POWER == ps::kOutputPower &&
              QUORIX_PSU_INFO_INPUT_VOLT == ps::kInputVolt && QUORIX_PSU_INFO_OUTPUT_VOLT == ps::kOutputVolt &&
              QUORIX_PSU_INFO_INPUT_CURRENT == ps::kInputCurrent && QUORIX_PSU_INFO_OUTPUT_CURRENT == ps::kOutputCurrent &&
              QUORIX_PSU_INFO_OUTPUT_POWER_MAX == ps::kOutputPowerMax && QUORIX_PSU_INFO_FAN_SPEED == ps::kFanSpeed &&
              QUORIX_PSU_INFO_DATE == ps::kDate && QUORIX_PSU_INFO_SIZE == ps::kSize);
// The texts are copied as one run in the PSU record's order.
namespace pt = psu::rec;
static_assert(QUORIX_PSU_INFO_MANUFACTURER == ps::kTexts && QUORIX_PSU_INFO_TEXT_SIZE == pt::kManufacturerLen &&
              QUORIX_PSU_INFO_MODEL == ps::kTexts + (pt::kModel - pt::kManufacturer) &&
              QUORIX_PSU_INFO_SERIAL == ps::kTexts + (pt::kSerialNum - pt::kManufacturer) &&
              QUORIX_PSU_INFO_FW_VERSION == ps::kTexts + (pt::kFwVersion - pt::kManufacturer) &&
              QUORIX_PSU_INFO_FW_VERSION_SIZE == pt::kFwVersionLen &&
              QUORIX_PSU_INFO_PART_NUM == ps::kTexts + (pt::kPartNum - pt::kManufacturer) &&
              QUORIX_PSU_INFO_TEXT_SIZE == pt::kModelLen && QUORIX_PSU_INFO_TEXT_SIZE == pt::kSerialNumLen &&
              QUORIX_PSU_INFO_TEXT_SIZE == pt::kPartNumLen && QUORIX_PSU_INFO_DATE_SIZE == pt::kDateLen);

// Task records.
namespace up = update;
static_assert(QUORIX_TASK_COUNT == up::kTaskCount && QUORIX_TASK_ALL == up::kAllTasks &&
              QUORIX_TASK_RECORD_SIZE == up::kTaskRecordSize);
static_assert(QUORIX_TASK_ID == up::task::kId && QUORIX_TASK_TYPE == up::task::kType &&
              QUORIX_TASK_REPORT_A == up::task::kReportA && QUORIX_TASK_REPORT_B == up::task::kReportB &&
              QUORIX_TASK_STATUS == up::task::kStatus && QUORIX_TASK_SUB_STATE == up::task::kSubState &&
              QUORIX_TASK_START_TIME == up::task::kStartTime && QUORIX_TASK_COMPONENT_ID == up::task::kComponentId &&
              QUORIX_TASK_BOARD_ID == up::task::kBoardId && QUORIX_TASK_TRIGGER == up::task::kTrigger &&
              QUORIX_TASK_PROGRESS == up::task::kProgress && QUORIX_TASK_FILE_NAME == up::task::kFileName &&
              QUORIX_TASK_FILE_NAME_SIZE == up::task::kFileNameLen);
static_assert(QUORIX_TASK_QUERY_MAX_LEN == QUORIX_TASK_QUERY_HEAD + up::kTaskCount * up::kTaskRecordSize);

}  // namespace
}  // namespace qrx

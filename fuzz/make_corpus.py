#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target into fuzz/corpus/<target>/.

Seeds are valid requests, commands and files, framed the way each target
reads its input (see its section of targets.cpp). Run it again after
changing a seed; the files are checked in.
"""
import json
import os
import shutil
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.dirname(HERE)
OUT = os.path.join(HERE, "corpus")


def text(s, width):
    b = s.encode()
    return b + bytes(width - len(b))


def frame(*requests):
    """A request sequence: u16 little-endian length before each request."""
    return b"".join(struct.pack("<H", len(r)) + r for r in requests)


def be32(v):
    return struct.pack(">I", v)


# ---- syslog set: selector 0 globals, 1 destination, 2 test ----
def syslog_dest(index, enable, kind, host, port):
    return bytes([1, index, enable, kind]) + text(host, 47) + be32(port)


SYSLOG_ON = bytes([0, 2, 0, 1, 1])
syslog_set = {
    "globals_enable": frame(SYSLOG_ON),
    "globals_tls": frame(bytes([0, 2, 1, 3, 2])),
    "dest_ipv4": frame(syslog_dest(0, 1, 3, "192.168.1.10", 514)),
    "dest_domain": frame(syslog_dest(2, 1, 1, "log.example.com", 6514)),
    "dest_ipv6": frame(syslog_dest(3, 1, 2, "fe80::1", 514)),
    "enable_dest_test": frame(SYSLOG_ON, syslog_dest(1, 1, 3, "10.0.0.7", 514), bytes([2, 1])),
}

# ---- SNMP trap set: group 0 record parameters, 1 destinations, 2 test ----
def trap_record(version, level, community="", host_id="HostName", user="", auth="", auth_pw="", priv="",
                priv_pw="", engine="", device_type=255):
    return (bytes([version, level]) + text(community, 17) + text(host_id, 17) + text(user, 17) + text(auth, 17) +
            text(auth_pw, 21) + text(priv, 17) + text(priv_pw, 21) + text(engine, 49) + bytes([device_type]))


def trap_param(param, data):
    return bytes([0, param]) + data


V3 = trap_param(0, bytes([3]))
snmp_trap_set = {
    "version_v2c": frame(trap_param(0, bytes([2]))),
    "event_level": frame(trap_param(1, bytes([1]))),
    "community": frame(trap_param(2, b"public7")),
    "host_id": frame(trap_param(3, b"SerialNum")),
    "device_type": frame(trap_param(10, bytes([23]))),
    "v3_user": frame(V3, trap_param(4, b"trapuser")),
    "v3_auth": frame(V3, trap_param(5, b"SHA"), trap_param(6, b"authpass123")),
    "v3_priv": frame(V3, trap_param(7, b"aes"), trap_param(8, b"privpass123")),
    "v3_engine": frame(V3, trap_param(9, b"80001f8880a1b2c3d4")),
    "record_v2c": frame(trap_param(255, trap_record(2, 0, community="public7"))),
    "record_v3": frame(trap_param(255, trap_record(3, 2, user="trapuser", auth="SHA", auth_pw="authpass123",
                                                    priv="AES", priv_pw="privpass123",
                                                    engine="80001f8880a1b2c3d4", device_type=23))),
    "dest_enable": frame(bytes([1, 0, 0, 1])),
    "dest_address": frame(bytes([1, 1, 1]) + b"10.1.2.3"),
    "dest_port": frame(bytes([1, 2, 2]) + be32(1162)),
    "dest_whole": frame(bytes([1, 3, 255, 1]) + text("trap.example.com", 47) + be32(162)),
    "dest_test": frame(bytes([2, 1])),
}

# ---- SNMP agent set: first byte the save flag, then the request ----
def agent_record(v1, v2, ro, rw, v3, auth, priv, user, auth_pw, priv_pw):
    return (bytes([v1, v2]) + text(ro, 17) + text(rw, 17) + bytes([0, v3, auth, priv]) + text(user, 17) +
            text(auth_pw, 24) + text(priv_pw, 24))


def agent(req, save=0):
    return bytes([save]) + req


snmp_agent_set = {
    "v1_enable": frame(agent(bytes([0, 1]))),
    "v2_enable_saved": frame(agent(bytes([1, 1]), save=1)),
    "ro_community": frame(agent(bytes([2]) + b"public7")),
    "rw_community": frame(agent(bytes([3]) + b"private7")),
    "set_over_v1v2": frame(agent(bytes([4, 1]))),
    "v3": frame(agent(bytes([5, 1])), agent(bytes([6, 2])), agent(bytes([7, 1])), agent(bytes([8]) + b"snmpuser"),
                agent(bytes([9]) + b"authpass123"), agent(bytes([10]) + b"privpass123")),
    "whole_record": frame(agent(bytes([254]) + agent_record(1, 1, "public7", "private7", 1, 1, 2, "snmpuser",
                                                            "authpass123", "privpass123"))),
    "restart": frame(agent(bytes([255]))),
}

# ---- SMTP set: group 0 record parameters, 1 recipients, 2 test ----
def smtp_record(enabled=1, server="smtp.example.com", port=25, secure_port=465, starttls=1, ssl=0, auth=1,
                user="mailuser", password="Secret#123", sender="bmc@example.com", subject="BMC alert"):
    # Whole-record requests carry the ports high byte first.
    return (bytes([enabled]) + text(server, 47) + struct.pack(">HH", port, secure_port) +
            bytes([starttls, ssl, auth]) + text(user, 66) + text(password, 61) + text(sender, 65) +
            text(subject, 17) + bytes([1, 0, 1, 2]))


def smtp_param(param, data):
    return bytes([0, param]) + data


smtp_set = {
    "enable": frame(smtp_param(0, bytes([1]))),
    "server": frame(smtp_param(1, b"smtp.example.com")),
    "ports": frame(smtp_param(2, struct.pack("<H", 25)), smtp_param(3, struct.pack("<H", 465))),
    "tls_flags": frame(smtp_param(4, bytes([1])), smtp_param(5, bytes([0])), smtp_param(6, bytes([1]))),
    "user_password": frame(smtp_param(7, b"mailuser"), smtp_param(8, b"Secret#123")),
    "sender_subject": frame(smtp_param(9, b"bmc@example.com"), smtp_param(10, b"BMC alert")),
    "id_flags": frame(smtp_param(11, bytes([1])), smtp_param(12, bytes([0])), smtp_param(13, bytes([1])),
                      smtp_param(14, bytes([2]))),
    "whole_record": frame(smtp_param(255, smtp_record())),
    "rcpt_enable": frame(bytes([1, 0, 0, 1])),
    "rcpt_address": frame(bytes([1, 1, 1]) + b"ops@example.com"),
    "rcpt_description": frame(bytes([1, 2, 2]) + b"Operations"),
    "rcpt_whole": frame(bytes([1, 3, 255, 1]) + text("admin@example.com", 65) + text("Admins", 17)),
    "test": frame(bytes([2, 0])),
}

# ---- password rule: parameter 0..7 (little-endian values) or 255 (big-endian whole record) ----
password_rule = {
    "whole_enabled": frame(bytes([255, 1, 10, 1, 0x0F]) + struct.pack(">H", 60) + bytes([4, 3]) +
                           struct.pack(">I", 15)),
    "whole_disabled": frame(bytes([255, 0, 12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5])),
    "singles": frame(bytes([0, 1]), bytes([1, 14]), bytes([2, 1]), bytes([3, 0x1F])),
    "wide_values": frame(bytes([4]) + struct.pack("<H", 45), bytes([5, 8]), bytes([6, 5]),
                         bytes([7]) + struct.pack("<I", 60)),
}

# ---- power peak: first byte even = get, odd = set ----
power_peak = {
    "get": frame(bytes([0])),
    "set_300_get": frame(bytes([1]) + struct.pack("<H", 300), bytes([0])),
    "set_limits": frame(bytes([1]) + struct.pack("<H", 0), bytes([1]) + struct.pack("<H", 600), bytes([0])),
}

# ---- task handlers: request length, request, then (task, offset, value) patches ----
STATUS, TASK_ID, TYPE, SUBSTATE, TRIGGER, PROGRESS = 36, 0, 1, 37, 107, 176


def tasks(*patches):
    return b"".join(bytes(p) for p in patches)


RUNNING_CPLD = tasks((2, TASK_ID, 2), (2, STATUS, 2), (2, TYPE, 2), (2, TRIGGER, 1))
WAITING_PSU = tasks((5, TASK_ID, 5), (5, STATUS, 1), (5, SUBSTATE, 4))
FINISHED_BIOS = tasks((1, TASK_ID, 1), (1, STATUS, 3), (1, PROGRESS, 100))
background_task = {
    "query_all": bytes([2, 0, 255]) + RUNNING_CPLD + WAITING_PSU + FINISHED_BIOS,
    "query_one": bytes([2, 0, 5]) + WAITING_PSU,
    "cancel_waiting": bytes([2, 1, 5]) + WAITING_PSU,
    "cancel_running": bytes([2, 1, 2]) + RUNNING_CPLD,
    # A running CPLD task without an expected duration whose start time lies ahead of the clock.
    "regress_zero_duration": bytes([2, 0, 2]) + tasks((2, TASK_ID, 2), (2, STATUS, 2), (2, 41, 0xF0)),
}
update_info = {
    "report": bytes([1, 0]) + RUNNING_CPLD + WAITING_PSU + FINISHED_BIOS,
    "report_empty": bytes([1, 0]),
}

# ---- console commands ----
fan_param = {name: cmd.encode() for name, cmd in {
    "enable": "enable3", "disable": "disable1", "linear_num": "liner0_num5",
    "linear_temper": "liner2_temper1val45", "linear_pwm": "liner2_pwm3val80", "linear_delay": "liner1_delay10",
    "linear_weight": "liner0_weight2_0.5", "linear_t80": "liner0_threshold80_70",
    "linear_t100": "liner0_threshold100_90", "linear_tdelay": "liner0_thresholddelay5",
    "pid_sp": "bjpid1_sp60", "pid_kp": "bjpid1_kp1.5", "pid_ki": "bjpid1_ki0.2", "pid_kd": "bjpid1_kd0.1",
    "pid_delay": "bjpid1_delay3", "pid_weight": "bjpid4_weight11_0.25", "raise": "pwmraise20"}.items()}
debug_info = {"flag0": b"debug0_10", "flag9": b"debug9_255", "flag3": b"debug3_1"}

# ---- files ----
def syslog_file(syslog, tag, level, protocol, dests):
    lines = ["#SYSLOG=%d,TAG=%d,LEVEL=%d,PROTOCAL=%d" % (syslog, tag, level, protocol)]
    for i, (enable, kind, port, host) in enumerate(dests):
        lines.append("#DEST%d=%d,TYPE=%d,PORT=%d,HOSTNAME=%s" % (i, enable, kind, port, host))
    lines += ["$template QuorixFormat,\"<%PRI%>%TIMESTAMP% %HOSTNAME% %syslogtag%%msg%\\n\"",
              "local7.* /var/log/quorix.log"]
    return ("\n".join(lines) + "\n").encode()


syslog_conf_load = {
    "enabled_tcp": syslog_file(2, 1, 2, 1, [(1, 3, 514, "192.168.1.10"), (0, 3, 514, ""), (1, 1, 6514,
                                                                                             "log.example.com"),
                                            (0, 2, 514, "")]),
    "disabled": syslog_file(1, 0, 1, 1, [(0, 3, 514, "")] * 4),
    "tls_two_way": syslog_file(2, 2, 3, 3, [(1, 2, 6514, "fe80::1")] * 4),
}


def defconfig(name):
    with open(os.path.join(REPO, "data", "defconfig", name), "rb") as f:
        return f.read()


trap_json = json.loads(defconfig("SnmpTrapCfg.json"))
trap_v3 = json.loads(defconfig("SnmpTrapCfg.json"))
trap_v3["SnmpTrapCfg"].update({"TrapVersion": 3, "UserName": "trapuser", "AUTHProtocol": "SHA",
                               "AUTHPwd": "authpass123", "PrivProtocol": "AES", "PRIVPwd": "privpass123",
                               "EngineID": "80001f8880a1b2c3d4", "DeviceType": 23})
trap_v3["SnmpTrapDestCfg"][0].update({"Enabled": 1, "Destination": "10.1.2.3", "port": 1162})
agent_json = json.loads(defconfig("SnmpAgentCfg.json"))
smtp_json = json.loads(defconfig("SmtpCfg.json"))
smtp_full = json.loads(defconfig("SmtpCfg.json"))
smtp_full["SmtpCfg"].update({"SmtpEnable": 1, "ServerAddr": "smtp.example.com", "UserName": "mailuser",
                             "PassWord": "Secret#123", "SenderAddr": "bmc@example.com"})

snmp_trap_json = {"factory": defconfig("SnmpTrapCfg.json"), "v3": json.dumps(trap_v3, indent=2).encode()}
snmp_agent_json = {"factory": defconfig("SnmpAgentCfg.json"), "compact": json.dumps(agent_json).encode()}
smtp_json_seeds = {"factory": defconfig("SmtpCfg.json"), "configured": json.dumps(smtp_full, indent=2).encode()}

# ---- validators: selector, parameter, text ----
validator_seeds = {
    "ipv4": (0, 0, "192.168.1.1"), "ipv6": (1, 0, "fe80::1:2"), "domain": (2, 0, "mail.example.com"),
    "password": (3, 0, "Passw0rd!"), "email": (4, 0, "ops@example.com"), "sender": (5, 0, "bmc@example.com"),
    "sensitive": (6, 0, "a=(b)"), "auth": (7, 0, "SHA"), "priv": (8, 0, "AES"), "host_id": (9, 0, "SerialNum"),
    "enable_word": (10, 0, "Enable"), "trap_version": (14, 0, "V2C"), "syslog_level": (20, 0, "Alert"),
    "index_word": (27, 16, "\x02"), "digits_hex": (29, 16, "1fA0"), "trap_input": (30, 0, "public!~"),
    "user_name": (31, 16, "admin_01"), "severity": (32, 0, "critical"), "severity_word": (33, 12, "\x02"),
    "hex_text": (34, 20, "\x01\xab\xff"),
}
validators = {name: bytes([sel, param]) + t.encode("latin-1") for name, (sel, param, t) in
              validator_seeds.items()}

CORPORA = {
    "syslog_set": syslog_set, "snmp_trap_set": snmp_trap_set, "snmp_agent_set": snmp_agent_set,
    "smtp_set": smtp_set, "password_rule": password_rule, "power_peak": power_peak,
    "background_task": background_task, "update_info": update_info, "fan_param": fan_param,
    "debug_info": debug_info, "syslog_conf_load": syslog_conf_load, "snmp_trap_json": snmp_trap_json,
    "snmp_agent_json": snmp_agent_json, "smtp_json": smtp_json_seeds, "validators": validators,
}


def main():
    for target, seeds in CORPORA.items():
        folder = os.path.join(OUT, target)
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for name, data in seeds.items():
            with open(os.path.join(folder, name), "wb") as f:
                f.write(data)
    print("%d seeds for %d targets in %s" % (sum(len(s) for s in CORPORA.values()), len(CORPORA), OUT))


if __name__ == "__main__":
    sys.exit(main())

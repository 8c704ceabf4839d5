#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into fuzz/corpus/<target>/seed-*.

The seeds are hand-written captures and payloads, the same byte layouts the unit tests
pin. Run it after changing a table here and commit what it writes. Inputs that the
fuzzers found (regression inputs) live beside the seeds under other names and are left
alone by this script.
"""

import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))


def crc16(data):
    """CRC-16 of control and discovery frames: polynomial 0x1021, initial 0, no reflection."""
    crc = 0
    for b in data:
        crc ^= b << 8
        for _ in range(8):
            crc = ((crc << 1) ^ 0x1021) if crc & 0x8000 else (crc << 1)
            crc &= 0xFFFF
    return crc


def le16(v):
    return bytes([v & 0xFF, (v >> 8) & 0xFF])


def be16(v):
    return bytes([(v >> 8) & 0xFF, v & 0xFF])


def control(code, payload, crc=None):
    """A control frame: "*", code, length (LE), payload, CRC (LE, computed unless given)."""
    head = bytes([0x2A, code]) + le16(len(payload)) + payload
    return head + (crc if crc is not None else le16(crc16(head)))


def stream(code, payload):
    """A stream frame: code, "*", length (BE), payload; no CRC."""
    return bytes([code, 0x2A]) + be16(len(payload)) + payload


def marco(code, payload, crc=b"\x00\x00"):
    """A discovery frame: "*", code, length (LE), payload, two CRC bytes (never checked)."""
    return bytes([0x2A, code]) + le16(len(payload)) + payload + crc


# --- settings tags and job setup -------------------------------------------------------
def tag(key, value):
    return le16(key) + le16(len(value)) + value


def scalar(key, v):
    return tag(key, (v & 0xFFFFFFFF).to_bytes(4, "little"))


FFT_PTS_PER, FFT_ACCUM, WAVE_BIT_DEPTH, WAVE_GAIN = 0x0004, 0x0007, 0x000F, 0x0010
FFT_REF_LEVEL, ARRAY_DEV_TYPE, ARRAY_GATEWAY = 0x0003, 0x4000, 0x4008
ARRAY_SERIALS, ARRAY_IP_ADDR = 0x8000, 0x8002


def serials(*s):
    body = le16(len(s)) + b"".join(le16(x) for x in s)
    return tag(ARRAY_SERIALS, body + (b"\x00\x00" if len(s) % 2 else b""))


def ip_list(hub, *addrs):
    return tag(ARRAY_IP_ADDR, le16(len(addrs) + 1) + hub.to_bytes(4, "little")
               + b"".join(a.to_bytes(4, "little") for a in addrs))


def tag_based(*tags):
    return le16(20) + le16(len(tags)) + b"".join(tags)


JOB_SETUP = {
    "empty": tag_based(),
    "accum-and-serials": tag_based(scalar(FFT_ACCUM, 12), serials(1201, 1202)),
    "unknown-key": tag_based(tag(0x8001, b"\x07\x00\x04\x00\x99\x99"),
                             scalar(FFT_ACCUM, 12), scalar(FFT_ACCUM, 13)),
    "signed-and-addresses": tag_based(scalar(FFT_REF_LEVEL, -5), scalar(ARRAY_DEV_TYPE, -3),
                                      scalar(ARRAY_GATEWAY, 0xC0A801FE),
                                      ip_list(0xC0A8000A, 0xC0A80015, 0xC0A80016)),
    "odd-list-then-tag": tag_based(serials(1, 2, 3), ip_list(0x0A000001)),
    "zero-length-entry": tag_based(tag(FFT_PTS_PER, b""), scalar(WAVE_GAIN, 3)),
    "error-unrecognized-tag": le16(0xFFFF) + le16(0xFFF3) + le16(20) + le16(WAVE_BIT_DEPTH),
    "error-verdicts": le16(0xFFFF) + le16(0xFFF5) + le16(20) + le16(3)
    + le16(FFT_PTS_PER) + le16(4) + le16(WAVE_GAIN) + le16(1) + le16(0x8001) + le16(7),
    "error-unknown-code": le16(0xFFFF) + le16(0x0005) + le16(20),
    "non-tag-based": le16(5) + b"\x01\x02\x03",
}

# --- triggers ---------------------------------------------------------------------------
# Band trigger body: number 7, enabled, duration, hold, band 1000-2000 Hz, threshold type,
# threshold -2, effect, pre-trigger.
BAND_BODY = bytes([0x07, 0x01, 0x02, 0x01, 0x04, 0x03, 0xE8, 0x03, 0x00, 0x00, 0xD0,
                   0x07, 0x00, 0x00, 0x06, 0x05, 0xFE, 0xFF, 0x08, 0x07, 0x0A, 0x09])
TWO_RECORDS = bytes([0x02, 0x16, 0x00, 0x03, 0x00, 0x18, 0x00, 0x05, 0x00]) + BAND_BODY
FOUR_RECORDS = (bytes([0x04]) + TWO_RECORDS[1:]
                + bytes([0x10, 0, 0, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 0, 0])
                + bytes([0x02, 0x00, 0x04, 0x00, 0xAA, 0xBB]))
TRIGGER_ENQUIRY = {
    "none": b"\x00",
    "type3-and-band": TWO_RECORDS,
    "four-types": FOUR_RECORDS,
    "count-beyond-records": bytes([0x09]) + FOUR_RECORDS[1:],
}
# Error-coded trigger setup answer: error byte, test type, body.
TRIGGER_SETUP = bytes([0xFA, 0x05, 0x00]) + BAND_BODY

# --- collect data -----------------------------------------------------------------------
FULL_COLLECT = bytes([
    0x3F, 0x01, 0x02, 0xEB, 0x00, 0x2C, 0x01,
    0x02, 0x00, 0x04, 0x00, 0x01, 0x80, 0xBB, 0x00, 0x00, 0x10, 0x00, 0x06, 0x00,
    0x03, 0x00, 0x0A, 0x00, 0x00, 0x01, 0x00, 0x04, 0xA1, 0xA2, 0xA3, 0xA4,
    0x07, 0x00, 0x02, 0x03, 0x00, 0x05, 0x00, 0xF4, 0x01, 0x00, 0xCE, 0xFF, 0xC4, 0x09,
    0xB1, 0xB2, 0xB3,
    0x01, 0x00, 0x0C, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0,
    0x10, 0x00, 0x08, 0x00, 1, 0, 0, 0, 2, 0, 0, 0,
    0x20, 0x00, 0x08, 0x00, 3, 0, 0, 0, 4, 0, 0, 0])


def spectrum(proc_type, middle):
    return (bytes([0x10, 0x05, 0x00, 0x03, 0x00, 0x01, 0x80, 0xBB, 0x00, 0x00, 0x10, 0x00,
                   proc_type, 0x00]) + middle
            + bytes([0x00, 0x01, 0x00, 0x04, 0xAA, 0xBB, 0xCC]))


DATA_COLLECT = {
    "humidity-temperature": bytes([0x06, 0xEB, 0x00, 0x2C, 0x01]),
    "bit0-skip": bytes([0x01, 0xAA, 0xBB, 0xCC]),
    "waveform": bytes([0x20, 0x34, 0x12, 0x02, 0x04, 0x00, 0x07, 0x00, 0xF4, 0x01, 0x00,
                       0xCE, 0xFF, 0xC4, 0x09, 0x01, 0x02, 0x03, 0x04, 0x99]),
    "spectrum-proc3": spectrum(3, b""),
    "spectrum-proc4": spectrum(4, bytes([0x0A, 0x00, 0x03, 0x00])),
    "spectrum-proc6": spectrum(6, bytes([0x03, 0x00, 0x0A, 0x00])),
    "unexpected-data": bytes([0x48, 0x01, 0x00, 0x0C, 0x00, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0]),
    "extended": bytes([0x0A, 0xEB, 0x00,
                       0x01, 0x00, 0x00, 0x00,
                       0xFF, 0xFF, 0x02, 0x00, 0x03, 0x00, 0x04, 0x00, 0x05, 0x00, 0x00, 0x80,
                       0x02, 0x00, 0x06, 0x00, 9, 9, 9, 9, 9, 9,
                       0x10, 0x00, 0x08, 0x00, 0x10, 0x27, 0x00, 0x00, 0x78, 0x56, 0x34, 0x12,
                       0x02, 0x01, 0x01, 0x00, 0x7F,
                       0x20, 0x01, 0x08, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00]),
    "full": FULL_COLLECT,
    "samples-promised-not-sent": bytes([0x20, 0x01, 0x00, 0x00, 0xFF, 0xFF, 0x03, 0x40, 0x1F,
                                        0x00, 0x00, 0x01, 0x00, 0x02, 0x00, 0xAA, 0xBB, 0xCC]),
}

# --- stream chunks (big-endian) ---------------------------------------------------------
KEY_V0 = bytes([0x41, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x64,
                0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x07])
KEY_V1 = bytes([0x41, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x65, 0x00, 0x00,
                0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x02, 0x00, 0x00, 0x00])
DEV_CH1 = bytes([0x44, 0x01, 0x00, 0x00, 0x05, 0x01, 0x00, 0x00,
                 0x00, 0x65, 0x00, 0xB0, 0x01, 0x00, 0x00, 0x00])
DEV_MASTER = bytes([0x44, 0x01, 0x00, 0x00, 0x08, 0x01, 0x00, 0x00,
                    0x03, 0xE7, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00])
DEV_V0 = bytes([0x44, 0x00, 0x00, 0x00, 0x05, 0x01, 0x00, 0x00, 0x00, 0x66, 0x00, 0xB0])
STATUS1 = bytes([0x43, 0x00, 0x00, 0x00, 0x00, 0xC8, 0x01, 0x90, 80, 1, 0, 1] + [0] * 12)
STATUS2 = bytes([0x43, 0x00, 0x00, 0x00, 0x00, 0xC9, 0x01, 0x91, 81, 1, 0, 2] + [0] * 12)
WAV = bytes([0x45, 0x00, 0x00, 0x00, 0x00, 0x01, 0x77, 0x00, 0x00, 0x01, 0x03, 0x00])
AMPL = bytes([0x47, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x7F, 0xFF, 0xFF,
              0xFF, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF])
FFT_V1 = bytes([0x46, 0x01, 0x00, 0x00, 0x00, 0x00, 0xFA, 0x00, 0x04, 0x00, 0x00, 0x00,
                0x00, 0x01, 0x02, 0x00, 0x00, 0x04, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00])
DATA = bytes([0x42, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02, 0x82,
              0x00, 0x02, 0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2, 0xB3, 0xB4])
TRIG = bytes([0x4C, 0x00, 0x00, 0x00, 0x02, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00])

HEADER_ARRAY = stream(0x32, KEY_V0 + DEV_CH1 + DEV_MASTER + DEV_V0 + STATUS1 + STATUS2 + WAV + AMPL)
HEADER_FFT = stream(0x32, KEY_V1 + DEV_CH1 + WAV + FFT_V1)
DATA_FRAME = stream(0x31, KEY_V1 + DATA)
STATUS_FRAME = stream(0x35, TRIG)
NOTIFY = stream(0x30, bytes([0, 0, 0, 2]))
STREAM = {
    "header-array": HEADER_ARRAY,
    "header-fft": HEADER_FFT,
    "data": DATA_FRAME,
    "status": STATUS_FRAME,
    "notify": NOTIFY,
    "junk-then-frame": bytes([0x61, 0x62, 0x31, 0x2A, 0x00, 0x04, 0x42, 0x00, 0x00, 0x00]),
    "unknown-code": stream(0x33, bytes([0x30, 0x2A, 0x00, 0x00])) + stream(0x30, bytes([0, 0, 0, 3])),
    "unknown-chunk": stream(0x32, KEY_V0 + DEV_CH1 + STATUS1 + bytes([0x5A, 0x00, 0x00, 0x00, 0x01, 0x02])),
    "data-version1": stream(0x31, KEY_V0 + bytes([0x42, 0x01]) + DATA[2:]),
    "session": HEADER_ARRAY + DATA_FRAME + DATA_FRAME + STATUS_FRAME + NOTIFY,
}

# --- control captures -------------------------------------------------------------------
ENQUIRE_PAYLOAD = bytes([
    0x34, 0x12, ord("1"), ord("."), ord("2"), ord("."), ord("3"), 0, 0, 0,
    *b"Jan 02 2024", 0, 0, 0, 0, 0, 0, 0,
    0x05, 0x01, 0x00, 0x00,
    0x05, 0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x07, 0x50, 0x02, 0x03,
    *b"R1.5", 0, 0, 0, 0, 0x01, 0x02, *b"Aurel", 0])
RESET = control(0x59, b"")
CONTROL = {
    "reset": RESET,
    "set-time-then-reset": control(0x41, bytes([0xE6, 0x00, 0x00, 0x00])) + RESET,
    "enquire": b"\x00\xFFxyz" + control(0x45, ENQUIRE_PAYLOAD, b"\x11\x22"),
    "codes-without-class": control(0x47, b"") + control(0x5A, b"") + control(0x42, b"\x07")
    + control(0x00, b"") + RESET,
    "bad-crc": control(0x59, b"", b"\x34\x12") + RESET,
    "overlong-header": bytes([0x2A, 0x41, 0xFF, 0x00]) + RESET,
    "collect-data": bytes([0x11]) + control(0x43, bytes([0x06, 0xEB, 0x00, 0x2C, 0x01,
                                                           0x08, 0x02, 0x00, 0x01, 0x2A]), b"\xDE\xAD"),
    "collect-data-full": control(0x43, FULL_COLLECT),
    "job-setup": control(0x44, JOB_SETUP["signed-and-addresses"]),
    "job-setup-error": control(0x44, JOB_SETUP["error-verdicts"]),
    "setup-enquiry": control(0x46, b"\x5A" + JOB_SETUP["accum-and-serials"]),
    "trigger-enquiry": control(0x52, FOUR_RECORDS),
    "trigger-setup": control(0x53, TRIGGER_SETUP),
}

# --- discovery --------------------------------------------------------------------------
ENQUIRY = bytes([0x05, 0xD2, 0x04, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x01,
                 0x0A, 0x01, 0xA8, 0xC0, 0x00, 0xFF, 0xFF, 0xFF, 0x01, 0x01, 0xA8, 0xC0,
                 0x04, 0x04, 0x08, 0x08])
CHANGE = bytes([0x0F, 0x09, 0x00, 0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x01, 0x00,
                0x00, 0x32, 0x00, 0x00, 0x0A, 0x00, 0x00, 0xFF, 0xFF,
                0x01, 0x00, 0x00, 0x0A, 0x02, 0x00, 0x00, 0x0A])
DISCOVERY = {
    "enquiry": marco(0x57, ENQUIRY, b"\x12\x34"),
    "change": marco(0x58, CHANGE),
    "reset": marco(0x59, b"MAC=AB:CD:EF:01:23:45"),
    "unknown-code": marco(0x5A, b"\x01\x02") + marco(0x59, b"MAC=00:11:22:33:44:55"),
    "junk-then-frame": b"\x01\x2A\x03" + marco(0x57, ENQUIRY),
    "answers": marco(0x57, ENQUIRY) + marco(0x58, CHANGE) + marco(0x59, b"MAC=AB:CD:EF:01:23:45"),
}

TAG_TEXT = {
    "pts-per": b"$FFT_PTS_PER=1024",
    "ref-level": b"$FFT_REF_LEVEL=-5",
    "serials": b"$ARRAY_SERIALS=1201,1202",
    "serials-wide": b"$ARRAY_SERIALS=65537,7",
    "ip-list": b"$ARRAY_IP_ADDR=192.168.0.10,192.168.0.21,192.168.0.22",
    "gateway": b"$ARRAY_GATEWAY=192.168.1.254",
    "accum": b"$FFT_ACCUM=12",
    "gain-negative": b"$WAVE_GAIN=-1",
    "two-lines": b"$FFT_REF_LEVEL=-7\n$FFT_ACCUM=3",
    "dev-type": b"$ARRAY_DEV_TYPE=-3",
    "no-value": b"$FFT_ACCUM",
    "aux-msg": b"$AUX_MSG=4294967295",
}

# --- recording files: WAV header and INFO body ------------------------------------------
def le32(v):
    return (v & 0xFFFFFFFF).to_bytes(4, "little")


def riff_chunk(name, body):
    return name + le32(len(body)) + body


SENSOR_INFO = (b"INFO"
               + b"IART" + le32(12) + b"Aurel HF #7 "
               + b"IPRD" + le32(6) + b"V1 R2 "
               + b"ICRD" + le32(22) + b"1970-01-01T00:00:00+00"
               + b"ISFT" + le32(8) + b"velrec  "
               + b"INAM" + le32(2) + b"t "
               + b"ICMT" + le32(92)
               + b"3.000000 V pk, -176 dBV re 1uPa, 0.000000 % RH, 0.000000 deg C, 0 = Max Count, 12 = Seq #   ")
ARRAY_INFO = (b"INFO"
              + b"ISFT" + le32(3) + b"abc"
              + b"ICRD" + le32(24) + b"1970-01-01T00:00:00+00\0\0"
              + b"IART" + le32(32) + b"HCI #1,Aurel HF #10,Aurel AF #11"
              + b"ICMT" + le32(72) + b"Vpk=3.000000;V re 1uPa=-170,-171;%RH=45.5,0.0;deg C=12.3,-0.5;Seq # =7  ")
FMT_PCM16 = bytes([0x01, 0x00, 0x02, 0x00, 0x44, 0xAC, 0x00, 0x00,
                   0x10, 0xB1, 0x02, 0x00, 0x04, 0x00, 0x10, 0x00])
FMT_MONO24 = bytes([0x01, 0x00, 0x01, 0x00, 0x80, 0xBB, 0x00, 0x00,
                    0x80, 0x32, 0x02, 0x00, 0x03, 0x00, 0x18, 0x00])


def wav_file(*chunks, riff_size=0):
    return b"RIFF" + le32(riff_size) + b"WAVE" + b"".join(chunks)


WAV_HEADER = {
    "sensor": wav_file(riff_chunk(b"LIST", SENSOR_INFO), riff_chunk(b"fmt ", FMT_PCM16),
                       b"data" + le32(4) + b"\x01\x02\x03\x04"),
    "array": wav_file(riff_chunk(b"LIST", ARRAY_INFO), riff_chunk(b"fmt ", FMT_MONO24),
                      b"data" + le32(0)),
    "unfinished": wav_file(riff_chunk(b"fmt ", FMT_PCM16), b"data" + le32(0xFFFFFFFF)),
    "skipped-chunk": wav_file(riff_chunk(b"junk", b"\0" * 10), riff_chunk(b"fmt ", FMT_PCM16),
                              b"data" + le32(2) + b"\0\0" + b"\0" * 12),
    "unknown-long-chunk": wav_file(b"bext" + le32(600) + b"\0" * 16),
    "not-wave": b"RIFF" + le32(4) + b"AVI " + b"\0" * 16,
    "long-list": wav_file(b"LIST" + le32(0x10001) + b"\0" * 16),
    "short-fmt": wav_file(riff_chunk(b"fmt ", FMT_PCM16[:3]), b"data" + le32(8) + b"\0" * 12),
}
WAV_INFO = {
    "sensor": SENSOR_INFO,
    "array": ARRAY_INFO,
    "unknown-tag-and-truncation": (b"INFO" + b"ABCD" + le32(2) + b"xx" + b"IART" + le32(12)
                                   + b"Aurel AF #42" + b"ICMT" + le32(255) + b"9.0 V pk"),
    "comment-extremes": (b"INFO" + b"ICMT" + le32(96)
                         + b"1e300 V pk, -99999 dBV re 1uPa, nan % RH, -inf deg C, 4e9 = Max Count, "
                           b"18446744073709551615 = Seq #      "),
    "date-odd": b"INFO" + b"ICRD" + le32(20) + b"9999-12-31T23:59:60 ",
}

# --- spectrum text files -----------------------------------------------------------------
SPECTRUM_HEADER_TEXT = (
    "File Details:\n"
    "File Type\tSpectrum\n"
    "File Version\t5\n"
    "Start Date\t2024-02-29\n"
    "Start Time\t13:14:15\n"
    "Time Zone\tUTC -3\n"
    "Author\tTidewells' Wren II\n"
    "Computer\tHOST\n"
    "User\tUSER\n"
    "Client\tCLIENT\n"
    "Job\tJOB\n"
    "Personnel\tPERSONNEL\n"
    "Starting Sample\t4096\n"
    "\n"
    "Device Details:\n"
    "Device\tAurel HF\n"
    "S/N\t1201\n"
    "Firmware\t1.2.3\n"
    "\n"
    "Setup:\n"
    "dB Ref re 1V\t-3\n"
    "dB Ref re 1uPa\t170\n"
    "Sample Rate [S/s]\t2048\n"
    "FFT Size\t1024\n"
    "Bin Width [Hz]\t2.000000\n"
    "Window Function\tHann\n"
    "Overlap [%]\t75.000000\n"
    "Power Calculation\tMean\n"
    "Accumulations\t12\n"
    "\n"
    "Data:\n"
    "Time\tComment\tTemperature\tHumidity\tSequence #\tData Points\t\n")
SPECTRUM_HEADER = {
    "full": SPECTRUM_HEADER_TEXT.encode(),
    "crlf": SPECTRUM_HEADER_TEXT.replace("\n", "\r\n").encode(),
    "bin-width-disagrees": SPECTRUM_HEADER_TEXT.replace("2.000000", "2.500000").encode(),
    "zone-plus": b"Time Zone\tUTC +5\nSample Rate [S/s]\t1000\nFFT Size\t0\nBin Width [Hz]\t0.976562\n",
    "extreme-levels": b"dB Ref re 1V\t32767\ndB Ref re 1uPa\t-2147483648\nStart Date\t0000-01-01\n",
    "wide-text": b"Author\t\xf8\x41\xfa\x10\nData:\nAuthor\tafter\n",
}
SPECTRUM_DATA = {
    "three-bins": b"\x46\x9c" + b"13:14:15\tc\t21.50\t40.25\t77\t3\t0\t200\t3\t\n",
    "no-bins": b"\x40\x00" + b"00:00:05\t\t1\t2\t3\t0\t\n",
    "negative-count": b"\x40\x00" + b"00:00:05\tx\t1\t2\t3\t-4\t\r\n",
    "fewer-bins": b"\x40\x00" + b"00:00:05\t\t1\t2\t3\t2\t1\t\n",
    "level-beyond-byte": b"\x40\x00" + b"00:00:05\t\t1\t2\t3\t1\t256\t\n",
    "no-last-tab": b"\x40\x00" + b"00:00:05\t\t1\t2\t3\t1\t4",
    "float-words": b"\x00\x00" + b"23:59:59\tnote\tnan\t-inf\t-2147483648\t1\t255\t\n",
}

CORPORA = {
    "control_processor": CONTROL,
    "stream_processor": STREAM,
    "discovery_processor": DISCOVERY,
    "job_setup": JOB_SETUP,
    "trigger_enquiry": TRIGGER_ENQUIRY,
    "data_collect": DATA_COLLECT,
    "tag_text": TAG_TEXT,
    "wav_header": WAV_HEADER,
    "wav_info": WAV_INFO,
    "spectrum_header": SPECTRUM_HEADER,
    "spectrum_data": SPECTRUM_DATA,
}


def main():
    for target, seeds in CORPORA.items():
        folder = os.path.join(HERE, "corpus", target)
        os.makedirs(folder, exist_ok=True)
        for old in os.listdir(folder):
            if old.startswith("seed-"):
                os.remove(os.path.join(folder, old))
        for name, data in seeds.items():
            with open(os.path.join(folder, "seed-" + name), "wb") as f:
                f.write(data)
    return 0


if __name__ == "__main__":
    sys.exit(main())

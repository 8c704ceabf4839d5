#!/usr/bin/env python3
"""End-to-end checks of the veldump program: captures built here byte by byte (with an
independent CRC) are decoded with --json, every line must parse and the summary must agree
with the lines; bad input must give a clear error and a non-zero exit, and every
subcommand's help must carry an example. Spectrum files come from velrec recording its
built-in simulated device, so they are what the library writes, not a copy made here."""
import json
import os
import re
import struct
import subprocess
import sys
import tempfile


def crc16(data):
    crc = 0
    for b in data:
        crc ^= b << 8
        for _ in range(8):
            crc = ((crc << 1) ^ 0x1021) & 0xFFFF if crc & 0x8000 else (crc << 1) & 0xFFFF
    return crc


def ctl(code, payload):
    head = b"*" + bytes([code]) + struct.pack("<H", len(payload)) + payload
    return head + struct.pack("<H", crc16(head))


def stream(code, payload):
    return bytes([code, 0x2A]) + struct.pack(">H", len(payload)) + payload


def run(veldump, *args):
    return subprocess.run([veldump, *args], capture_output=True, text=True)


failures = []


def check(cond, what):
    if not cond:
        failures.append(what)


def check_json_capture(veldump, path, channel, extra=()):
    r = run(veldump, "capture", path, "--channel", channel, "--json", *extra)
    check(r.returncode == 0, f"{channel}: exit {r.returncode}: {r.stderr}")
    lines = r.stdout.splitlines()
    objs = []
    for line in lines:
        try:
            objs.append(json.loads(line))
        except ValueError as e:
            failures.append(f"{channel}: not JSON: {line!r} ({e})")
            return []
    check(all(isinstance(o, dict) for o in objs), f"{channel}: a line is not an object")
    check(objs and "summary" in objs[-1], f"{channel}: no summary last")
    messages = [o for o in objs if "code" in o]
    logs = [o for o in objs if "log" in o]
    check(len(messages) + len(logs) + 1 == len(objs), f"{channel}: lines of unknown shape")
    check(all("class" in m and "name" in m for m in messages), f"{channel}: message without class")
    s = objs[-1]["summary"]
    check(s["messages"] == len(messages), f"{channel}: summary count {s['messages']} != {len(messages)}")
    check(s["logLines"] == len(logs), f"{channel}: summary logs")
    check(s["bytes"] == os.path.getsize(path), f"{channel}: summary bytes")
    kinds = {}
    for m in messages:
        kinds[m["class"]] = kinds.get(m["class"], 0) + 1
    check(s["kinds"] == kinds, f"{channel}: kinds {s['kinds']} != {kinds}")
    return objs


def record(velrec, out, seconds):
    """Records `seconds` of the simulated device into `out`; returns its spectrum file."""
    r = subprocess.run([velrec, "--fast", "--duration", str(seconds), "--period", "3600", "--out", out],
                       capture_output=True, text=True)
    check(r.returncode == 0, f"velrec: exit {r.returncode}: {r.stderr}")
    texts = [f for f in os.listdir(out) if f.endswith(".txt")] if os.path.isdir(out) else []
    check(len(texts) == 1, f"velrec wrote {texts}")
    m = re.search(r"spectrum lines=(\d+)", r.stdout + r.stderr)
    check(m is not None, "velrec did not report its spectrum lines")
    return (os.path.join(out, texts[0]) if texts else out), (int(m.group(1)) if m else -1)


def png_size(path):
    with open(path, "rb") as f:
        head = f.read(24)
    check(head[:8] == b"\x89PNG\r\n\x1a\n" and head[12:16] == b"IHDR", f"{path}: not a PNG")
    return struct.unpack(">II", head[16:24])


def check_spectrum(veldump, velrec, tmp):
    spec, lines = record(velrec, os.path.join(tmp, "short"), 5)
    r = run(veldump, "spectrum", spec, "--json")
    check(r.returncode == 0, f"spectrum: exit {r.returncode}: {r.stdout} {r.stderr}")
    try:
        s = json.loads(r.stdout)
    except ValueError as e:
        failures.append(f"spectrum --json: not JSON ({e}): {r.stdout!r}")
        return
    check(s["spectra"] == lines and s["ok"] and s["malformed"] == [], f"spectrum: {s['spectra']} != {lines}")
    block = s["blocks"][0]
    check(block["device"] == "Aurel HF" and block["fftSize"] > 0 and block["frequencyBins"] > 0, f"block {block}")
    check(abs(block["binWidth"] - block["sampleRate"] / block["fftSize"]) < 1e-3, "bin width")
    check(0 <= s["minLevel"] <= s["meanLevel"] <= s["maxLevel"] <= 255, "levels out of order")
    r = run(veldump, "spectrum", spec)
    check(r.returncode == 0 and f"spectra: {lines} under 1 header(s)" in r.stdout and r.stdout.endswith("OK\n"),
          f"spectrum text: {r.stdout}")

    out = os.path.join(tmp, "short.png")
    r = run(veldump, "spectrogram", spec, "-o", out, "--min", "10", "--max", "130")
    w, h = png_size(out) if os.path.exists(out) else (0, 0)
    check(r.returncode == 0 and f"wrote {out}: {w} x {h} pixels" in r.stdout and w >= lines and h > 0,
          f"spectrogram: exit {r.returncode}: {r.stdout} {r.stderr}")
    check("downsampled" not in r.stdout, "short file downsampled")

    # A malformed line and a cut last line: listed by number, the rest still read and drawn.
    with open(spec) as f:
        text = f.read().split("\n")
    text.insert(40, "not a spectrum line")
    bad = os.path.join(tmp, "bad.txt")
    with open(bad, "w") as f:
        f.write("\n".join(text)[:-10])
    r = run(veldump, "spectrum", bad)
    check(r.returncode == 1 and "malformed: line 41: not a data line" in r.stdout
          and "cut off before its line end" in r.stdout and f"spectra: {lines - 1} " in r.stdout,
          f"malformed: exit {r.returncode}: {r.stdout}")
    r = run(veldump, "spectrogram", bad)
    check(r.returncode == 1 and os.path.exists(os.path.join(tmp, "bad.png")) and "line 41" in r.stderr,
          f"malformed spectrogram: exit {r.returncode}: {r.stderr}")

    # A header without spectra, and a file that is not a spectrum file at all. The WAV file
    # need not share the spectrum file's name: each is named after its own stream's first second.
    wavs = [f for f in os.listdir(os.path.dirname(spec)) if f.endswith(".wav")]
    check(len(wavs) == 1, f"velrec wrote {wavs}")
    wav = os.path.join(os.path.dirname(spec), wavs[0] if wavs else "none.wav")
    empty = os.path.join(tmp, "empty.txt")
    with open(empty, "w") as f:
        f.write("\n".join(text[:33]) + "\n")
    for args, code, says in [(("spectrum", empty), 0, "spectra: 0"),
                             (("spectrogram", empty), 1, "no spectra to draw"),
                             (("spectrum", wav), 1, "not a spectrum file"),
                             (("spectrogram", wav), 1, "not a spectrum file"),
                             (("spectrum", os.path.join(tmp, "none.txt")), 1,
                              "veldump: " + os.path.join(tmp, "none.txt") + ": cannot open: No such file or directory"),
                             (("spectrogram", spec, "--min", "50", "--max", "10"), 2, "--max must be above")]:
        r = run(veldump, *args)
        check(r.returncode == code and says in r.stdout + r.stderr, f"{args}: exit {r.returncode}: {r.stdout} {r.stderr}")

    # A long recording is averaged down to at most 4096 columns, and says so.
    long_spec, long_lines = record(velrec, os.path.join(tmp, "long"), 90)
    r = run(veldump, "spectrogram", long_spec)
    png = long_spec[:-4] + ".png"
    w, h = png_size(png) if os.path.exists(png) else (0, 0)
    check(r.returncode == 0 and long_lines > 4096 and w == 4096
          and f"downsampled: {long_lines} spectra averaged into 4096 columns" in r.stdout,
          f"long spectrogram ({long_lines} lines, {w} x {h}): {r.stdout} {r.stderr}")


def check_sidecars(veldump, velrec, tmp):
    """veldump wav reports each file's sidecar: its first sample and its gaps; a sidecar that
    counts other frames than the file holds is a problem."""
    out = os.path.join(tmp, "side")
    r = subprocess.run([velrec, "--fast", "--duration", "3", "--period", "1", "--out", out],
                       capture_output=True, text=True)
    check(r.returncode == 0, f"velrec: exit {r.returncode}: {r.stderr}")
    wavs = sorted(os.path.join(out, f) for f in os.listdir(out) if f.endswith(".wav"))
    check(len(wavs) == 3, f"velrec wrote {wavs}")
    side = wavs[1][:-4] + ".json"
    meta = json.load(open(side))
    meta["gaps"] = [{"start_frame": i * 100, "frames": 7} for i in range(12)]
    json.dump(meta, open(side, "w"))
    r = run(veldump, "wav", *wavs)
    check(r.returncode == 0, f"wav with sidecars: exit {r.returncode}: {r.stdout} {r.stderr}")
    check(r.stdout.count("first sample: ") == 3 and "gaps: 12 (84 frames of zeros)" in r.stdout
          and "  gap at frame 900: 7 frames" in r.stdout and "... 2 more" in r.stdout, f"sidecar report: {r.stdout}")
    meta["frames"] += 1
    json.dump(meta, open(side, "w"))
    r = run(veldump, "wav", wavs[1])
    check(r.returncode == 1 and "the sidecar counts 48001 frames, the file holds 48000" in r.stdout,
          f"sidecar mismatch: {r.stdout}")
    open(side, "w").write("{not json")
    r = run(veldump, "wav", wavs[1])
    check(r.returncode == 1 and "sidecar unreadable" in r.stdout, f"bad sidecar: {r.stdout}")


def main():
    veldump = sys.argv[1]
    with tempfile.TemporaryDirectory() as tmp:
        # Control: garbage, an enquire answer of an unknown type, a job-setup error whose text
        # holds a newline, a job-setup answer with an unrecognised key, and a bad CRC.
        enquire = struct.pack("<H", 77) + b"9.9\0\0\0\0\0" + b"\0" * 18 + bytes([10, 0, 0, 0, 0])
        err = struct.pack("<HHHHHHH", 0xFFFF, 0xFFF5, 20, 1, 4, 4, 0)
        unknown_key = struct.pack("<HHHH", 20, 1, 32769, 6) + b"\0" * 6
        trig = ctl(0x53, bytes([0, 5, 0]) + b"\0" * 22)
        control = (b"\x00\x01junk" + ctl(0x45, enquire) + ctl(0x44, err) + ctl(0x44, unknown_key)
                   + trig[:-1] + bytes([trig[-1] ^ 0xFF]) + ctl(0x59, b""))
        cpath = os.path.join(tmp, "control.bin")
        open(cpath, "wb").write(control)
        objs = check_json_capture(veldump, cpath, "control")
        errs = [o.get("error", "") for o in objs if o.get("class") == "VelJobSetupCmd"]
        check(any("\n" in e and "FFT_PTS_PER: Too High" in e for e in errs), f"error text lost: {errs}")
        check(any("Unrecognized key, ignoring: 32769" in o.get("log", "") for o in objs), "unknown key log")
        check(any("bad CRC" in o.get("log", "") for o in objs), "bad CRC log")

        # Stream: a notification, a data frame whose chunk type is unknown, an unknown code.
        data = bytes([0x41, 0, 0, 16]) + struct.pack(">iII", 5, 0, 9) + bytes([0x5A, 0, 0, 0, 1, 2])
        spath = os.path.join(tmp, "stream.bin")
        open(spath, "wb").write(b"zz" + stream(0x30, struct.pack(">I", 7)) + stream(0x31, data)
                                + stream(0x39, b""))
        objs = check_json_capture(veldump, spath, "stream", ("--stream-type", "spectrum"))
        check(any(o.get("errorStr") == "Unknown Stream Error." for o in objs), "notify text")
        check(any(o.get("log", "").startswith("Unknown chunk type in dataZ") for o in objs), "chunk log")

        # Discovery: a reset-device answer.
        dpath = os.path.join(tmp, "disc.bin")
        open(dpath, "wb").write(ctl(0x59, b"MAC=00:11:22:AA:BB:CC"))
        objs = check_json_capture(veldump, dpath, "discovery")
        check(any(o.get("mac") == "00:11:22:AA:BB:CC" for o in objs), "reset MAC")

        # Bad input: clear message on stderr, non-zero exit, no crash.
        # Exit 1 for a file that cannot be read or decodes to nothing, 2 for wrong options only.
        for args, code in [(("capture", os.path.join(tmp, "none.bin"), "--channel", "control"), 1),
                           (("capture", tmp, "--channel", "stream"), 1),
                           (("capture", cpath, "--channel", "control", "--stream-type", "status"), 2),
                           (("capture", cpath, "--channel", "serial"), 2),
                           (("capture", spath), 2),  # "stream.bin" names no channel
                           (("wav", cpath), 1), (("repair", cpath), 1), (("nosuch",), 2)]:
            r = run(veldump, *args)
            ok = r.returncode == code if code is not None else r.returncode not in (0, -11, -6)
            check(ok and r.stderr.strip() + r.stdout.strip() != "", f"{args}: exit {r.returncode}")
            check(r.returncode >= 0, f"{args}: killed by signal {r.returncode}")

        # Several captures in one call, each channel taken from its name as velrec writes
        # them; bytes of no channel decode to nothing, which fails.
        wpath = os.path.join(tmp, "waveform.2.bin")
        open(wpath, "wb").write(stream(0x30, struct.pack(">I", 0)))
        noise = os.path.join(tmp, "spectrum.bin")
        open(noise, "wb").write(bytes(range(7, 250)) * 9)
        r = run(veldump, "capture", cpath, wpath, noise)
        check(r.returncode == 1, f"several captures: exit {r.returncode}")
        check("== " + cpath in r.stdout and "== " + wpath in r.stdout and "== " + noise in r.stdout,
              "several captures: each report named")
        check("class=VelEnquireCmd" in r.stdout and "class=VelStreamNotifyPayload" in r.stdout,
              "several captures: channels from the names")
        check(f"veldump: {noise}: no message decodes" in r.stderr, f"noise: {r.stderr}")

        check_spectrum(veldump, sys.argv[2], tmp)
        check_sidecars(veldump, sys.argv[2], tmp)

        r = run(veldump, "--help")
        for sub in ("capture", "wav", "repair", "spectrum", "spectrogram"):
            check(re.search(r"^\s+" + sub + r"\s", r.stdout, re.M), f"--help does not list {sub}")
        for sub in ("capture", "wav", "repair", "spectrum", "spectrogram"):
            r = run(veldump, sub, "--help")
            usage = re.search(r"^Usage: \S+ " + sub + r" ", r.stdout, re.M)
            check(r.returncode == 0 and usage and "Example: veldump " + sub in r.stdout, f"{sub} --help")

    for f in failures:
        print("FAIL:", f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Round trips of the bundled SubRip samples through real containers.

Each sample, in its own encoding, goes through `zqsubtitle mux` into Matroska
and MP4 (beside the bundled sample video), is checked there by ffprobe and
mkvmerge, and comes back through `zqsubtitle play` with a fast clock: the
events must carry exactly the cues that the module reads from the original
files (`zqsubtitle dump`). Containers made by ffmpeg and mkvmerge play the
same. Bad inputs fail with a message naming the file and leave nothing
behind.

Run by CTest with the environment set: ZQ_PROGRAM, ZQ_SAMPLES, ZQ_SAMPLE_VIDEO,
ZQ_WORK (a scratch folder of the build tree); argument: the test class.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

ZQ = os.environ["ZQ_PROGRAM"]
SAMPLES = pathlib.Path(os.environ["ZQ_SAMPLES"])
VIDEO = pathlib.Path(os.environ["ZQ_SAMPLE_VIDEO"])
WORK = pathlib.Path(os.environ["ZQ_WORK"])

# The samples: file, language given, ISO 639-2/B code written, title.
TRACKS = [
    ("english-utf8.srt", "en", "eng", "English"),
    ("german-cp1252.srt", "de", "ger", "Deutsch"),
    ("russian-cp1251.srt", "ru", "rus", "Русский"),
    ("japanese-utf16le-bom.srt", "ja", "jpn", "日本語"),
]
# Fast enough for a test, slow enough that a tick (30 ms of real time)
# never jumps over the shortest sample cue (1.8 s of media time).
SPEED = "4"
DEADLINE = 120


def run(*args, expect=0):
    result = subprocess.run([str(a) for a in args], capture_output=True, text=True, timeout=DEADLINE)
    if expect is not None and result.returncode != expect:
        raise AssertionError(f"{args} answered {result.returncode}, not {expect}:\n{result.stderr}")
    return result


def subtitle_arguments():
    arguments = []
    for name, language, _, title in TRACKS:
        arguments += ["-s", f"{SAMPLES / name}:{language}:{title}"]
    return arguments


def original_cues(name, language):
    """The cues the module reads from a sample: (start, stop, text) in ms."""
    dump = json.loads(run(ZQ, "dump", f"{SAMPLES / name}:{language}", "--json").stdout)
    return [(c["start"] // 10000, c["stop"] // 10000, c["text"].strip())
            for c in dump["calls"] if c["call"] == "Receive"]


def played_cues(*sources):
    """Every Active event of a play, by track: [(start, stop, text)] in ms."""
    lines = run(ZQ, "play", *sources, "--speed", SPEED, "--json").stdout.splitlines()
    cues = {}
    for event in map(json.loads, lines):
        if event["event"] == "active":
            cues.setdefault(event["track"], []).append(
                (round(event["start"] * 1000), round(event["stop"] * 1000), event["text"]))
    return cues


def probe(path, streams="s"):
    out = run("ffprobe", "-v", "error", "-select_streams", streams, "-show_streams", "-show_packets",
              "-show_data", "-of", "json", path).stdout
    return json.loads(out)


def packet_bytes(packet):
    """The payload of a packet from ffprobe's hex dump."""
    data = bytearray()
    for line in packet.get("data", "").strip().splitlines():
        data += bytes.fromhex("".join(line.split(":", 1)[1].split("  ")[0].split()))
    return bytes(data)


def frame_hashes(path):
    """The copied media's packets: (stream, size, hash), as framemd5 sees them."""
    out = run("ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v", "-map", "0:a",
              "-c", "copy", "-f", "framemd5", "-").stdout
    rows = [line.split(",") for line in out.splitlines() if line and not line.startswith("#")]
    return [(r[0].strip(), r[4].strip(), r[5].strip()) for r in rows]


def leftovers(folder):
    return sorted(p.name for p in pathlib.Path(folder).iterdir() if ".tmp-" in p.name)


class RoundTrip:
    """Shared by the Matroska and MP4 round trips; FORMAT names the output."""

    SUFFIX = ""
    CODEC = ""

    @classmethod
    def setUpClass(cls):
        cls.folder = WORK / cls.__name__
        shutil.rmtree(cls.folder, ignore_errors=True)
        cls.folder.mkdir(parents=True)
        cls.output = cls.folder / ("out" + cls.SUFFIX)
        cls.summary = json.loads(run(ZQ, "mux", VIDEO, *subtitle_arguments(), "-o", cls.output, "--json").stdout)
        cls.originals = [original_cues(name, language) for name, language, _, _ in TRACKS]

    def test_streams_carry_languages_titles_times_and_texts(self):
        streams = probe(self.output)
        subtitles = streams["streams"]
        self.assertEqual([s["codec_name"] for s in subtitles], [self.CODEC] * len(TRACKS))
        for stream, (name, _, iso, title), cues in zip(subtitles, TRACKS, self.originals):
            with self.subTest(sample=name):
                tags = stream.get("tags", {})
                self.assertEqual(tags.get("language"), iso)
                self.assertEqual(tags.get("title", tags.get("handler_name")), title)
                packets = [(round(float(p["pts_time"]) * 1000), round(float(p["duration_time"]) * 1000),
                            self.text_of(packet_bytes(p)))
                           for p in streams["packets"] if p["stream_index"] == stream["index"]]
                # MP4 fills the gaps between cues with empty samples.
                packets = [(start, start + length, text) for start, length, text in packets if text]
                self.assertEqual(packets, cues)

    def test_media_are_copied_bit_for_bit(self):
        self.assertEqual(frame_hashes(self.output), frame_hashes(VIDEO))

    def test_play_gives_exactly_the_original_cues(self):
        played = played_cues(self.output)
        self.assertEqual([played.get(track, []) for track in range(1, len(TRACKS) + 1)], self.originals)

    def test_summary_tells_what_was_written(self):
        subtitles = [s for s in self.summary["streams"] if s["type"] == "subtitle"]
        self.assertEqual([(s["language"], s["title"], s["packets"]) for s in subtitles],
                         [(iso, title, len(cues)) for (_, _, iso, title), cues in zip(TRACKS, self.originals)])
        self.assertEqual(leftovers(self.folder), [])


class MatroskaRoundTrip(RoundTrip, unittest.TestCase):
    SUFFIX = ".mkv"
    CODEC = "subrip"

    @staticmethod
    def text_of(payload):
        return payload.decode("utf-8")

    def test_mkvmerge_reads_the_tracks(self):
        tracks = json.loads(run("mkvmerge", "-J", self.output).stdout)["tracks"]
        subtitles = [t for t in tracks if t["type"] == "subtitles"]
        self.assertEqual([(t["properties"]["codec_id"], t["properties"]["language"], t["properties"]["track_name"])
                          for t in subtitles],
                         [("S_TEXT/UTF8", iso, title) for _, _, iso, title in TRACKS])
        self.assertEqual(sorted(t["type"] for t in tracks if t["type"] != "subtitles"), ["audio", "video"])


class Mp4RoundTrip(RoundTrip, unittest.TestCase):
    SUFFIX = ".mp4"
    CODEC = "mov_text"

    @staticmethod
    def text_of(payload):
        # A mov_text sample: a 16-bit length, the text, then style boxes.
        length = int.from_bytes(payload[:2], "big")
        return payload[2:2 + length].decode("utf-8")


class ForeignContainers(unittest.TestCase):
    """Containers that ffmpeg and mkvmerge make from a SubRip file play with
    the cues the module reads from it, once told the file's code page."""

    def test_ffmpeg_and_mkvmerge_outputs_play_the_original_cues(self):
        folder = WORK / "foreign"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        made_by_ffmpeg = folder / "ffmpeg.mkv"
        made_by_mkvmerge = folder / "mkvmerge.mkv"
        made_by_ffmpeg_mp4 = folder / "ffmpeg.mp4"
        # The code page takes effect in FFmpeg's decoder, so the text is
        # converted, not copied.
        run("ffmpeg", "-nostdin", "-v", "error", "-sub_charenc", "CP1252", "-i", SAMPLES / "german-cp1252.srt",
            "-c:s", "srt", made_by_ffmpeg)
        run("ffmpeg", "-nostdin", "-v", "error", "-i", SAMPLES / "english-utf8.srt", "-c:s", "mov_text",
            made_by_ffmpeg_mp4)
        run("mkvmerge", "-q", "-o", made_by_mkvmerge, "--sub-charset", "0:cp1251",
            SAMPLES / "russian-cp1251.srt")
        played = played_cues(made_by_ffmpeg, made_by_mkvmerge, made_by_ffmpeg_mp4)
        self.assertEqual(played.get(1), original_cues("german-cp1252.srt", "de"))
        self.assertEqual(played.get(2), original_cues("russian-cp1251.srt", "ru"))
        self.assertEqual(played.get(3), original_cues("english-utf8.srt", "en"))


class BadInput(unittest.TestCase):
    """Each bad input: a message that names the file and the reason, an exit
    code other than 0, no output and no temporary file left, and an existing
    output unchanged."""

    def setUp(self):
        self.folder = WORK / ("bad-" + self._testMethodName)
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.output = self.folder / "out.mkv"
        self.output.write_bytes(b"the user's earlier file")

    def assertRefused(self, args, message, output=None, expect=1):
        output = output or self.output
        result = run(ZQ, "mux", *args, "-o", output, expect=None)
        self.assertEqual(result.returncode, expect, result.stderr)
        self.assertRegex(result.stderr, message)
        if pathlib.Path(output).parent.exists():
            self.assertEqual(leftovers(pathlib.Path(output).parent), [])
        if output == self.output:
            self.assertEqual(self.output.read_bytes(), b"the user's earlier file")

    def test_input_that_is_no_media(self):
        text = self.folder / "notes.dat"
        text.write_text("these are no media\n" * 100)
        self.assertRefused([text, "-s", SAMPLES / "english-utf8.srt"], r"notes\.dat: can't open it as media: \S")

    def test_truncated_container(self):
        cut = self.folder / "cut.mkv"
        cut.write_bytes(VIDEO.read_bytes()[: VIDEO.stat().st_size // 2])
        self.assertRefused([cut, "-s", SAMPLES / "english-utf8.srt"], r"cut\.mkv: .*cut short")

    def test_subtitle_file_that_does_not_load(self):
        garbage = self.folder / "garbage.srt"
        garbage.write_bytes(bytes(range(256)) * 4)
        self.assertRefused(["-s", garbage],
                           r"garbage\.srt: can't load it as SubRip: VFW_E_INVALID_FILE_FORMAT \(0x8004022F\): \S")

    def test_subtitle_file_given_twice(self):
        sample = SAMPLES / "english-utf8.srt"
        self.assertRefused(["-s", sample, "-s", f"{SAMPLES}/../samples/english-utf8.srt:en"], r"english-utf8\.srt: is given twice")

    def test_format_without_text_subtitles(self):
        self.assertRefused(["-s", SAMPLES / "english-utf8.srt"], r"out\.avi: the format 'avi' .*can't carry text subtitles",
                           output=self.folder / "out.avi")

    def test_output_folder_that_does_not_exist(self):
        self.assertRefused(["-s", SAMPLES / "english-utf8.srt"], r"missing/out\.mkv: .*ERROR_PATH_NOT_FOUND",
                           output=self.folder / "missing" / "out.mkv")

    def test_output_folder_that_cannot_be_written(self):
        locked = self.folder / "locked"
        locked.mkdir()
        locked.chmod(0o555)
        command = [ZQ, "mux", "-s", SAMPLES / "english-utf8.srt", "-o", locked / "out.mkv"]
        # Root writes anywhere: the command runs as nobody then.
        if os.geteuid() == 0:
            self.folder.chmod(0o755)
            command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] + command
        result = subprocess.run([str(a) for a in command], capture_output=True, text=True, timeout=DEADLINE)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertRegex(result.stderr, r"locked/out\.mkv: can't create the output beside it: .*\(0x80070005\): Access is denied")
        self.assertEqual(list(locked.iterdir()), [])

    def test_full_disk(self):
        disk = self.folder / "disk"
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=200k", "tmpfs", str(disk)],
                          capture_output=True).returncode != 0:
            self.skipTest("no tmpfs can be mounted here; the host library's tests fill a disk of their own")
        try:
            self.assertRefused([VIDEO, "-s", SAMPLES / "english-utf8.srt"],
                               r"disk/out\.mkv: .*ERROR_DISK_FULL.*not enough space", output=disk / "out.mkv")
            self.assertEqual(list(disk.iterdir()), [])
        finally:
            subprocess.run(["umount", str(disk)])

    def test_interrupted_in_the_middle(self):
        # Enough cues that the writing takes a while, at every build type.
        big = self.folder / "big.srt"
        with big.open("w") as out:
            for i in range(200000):
                s = i * 2
                out.write(f"{i + 1}\n{s // 3600:02}:{s // 60 % 60:02}:{s % 60:02},000 --> "
                          f"{s // 3600:02}:{s // 60 % 60:02}:{s % 60:02},900\nline {i}\n\n")
        process = subprocess.Popen([ZQ, "mux", "-s", str(big), "-o", str(self.output)],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        deadline = time.monotonic() + DEADLINE
        while not leftovers(self.folder) and process.poll() is None and time.monotonic() < deadline:
            time.sleep(0.001)
        process.send_signal(signal.SIGINT)
        _, stderr = process.communicate(timeout=DEADLINE)
        self.assertEqual(process.returncode, 130, stderr)
        self.assertRegex(stderr, r"out\.mkv: interrupted")
        self.assertEqual(leftovers(self.folder), [])
        self.assertEqual(self.output.read_bytes(), b"the user's earlier file")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[1:], verbosity=2)

#!/usr/bin/env python3
"""Talks to the helper the way a supervising daemon does, and shows the conversation.

Usage: converse.py HELPER_BINARY CONVERSATION_FILE [OUTPUT_DIR]

The conversation file holds one request per line (JSON), with '#' lines as comments that are
printed as headings. Each request is written to the helper's standard input; every record it
answers with is printed. Payload records ("frame", "nal") are saved into OUTPUT_DIR.

A request may name a window by its title instead of its number: "$window:Some title" (quoted,
as a JSON string) is replaced by the number of the first window of the last "windows" listing
whose title or application name contains that text.
"""
import json
import os
import re
import subprocess
import sys
import time


def read_record(stream):
    line = stream.readline()
    if not line:
        return None, b""
    header = json.loads(line)
    payload = b""
    if header.get("type") in ("frame", "nal") and "len" in header:
        payload = stream.read(header["len"])
    return header, payload


WINDOW_REFERENCE = re.compile(r'"\$window:([^"]*)"')


def resolve_windows(request, windows):
    def lookup(match):
        wanted = match.group(1)
        for window in windows:
            if wanted in window.get("title", "") or wanted in window.get("app", ""):
                return str(window["id"])
        return "0"
    return WINDOW_REFERENCE.sub(lookup, request)


def main():
    binary, conversation = sys.argv[1], sys.argv[2]
    out_dir = sys.argv[3] if len(sys.argv) > 3 else "."
    os.makedirs(out_dir, exist_ok=True)
    helper = subprocess.Popen([binary], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    saved = 0
    windows = []
    with open(conversation, encoding="utf-8") as lines:
        for raw in lines:
            text = raw.rstrip("\n")
            if not text.strip():
                continue
            if text.startswith("#"):
                print("\n" + text.lstrip("# ").strip())
                continue
            request = resolve_windows(text, windows)
            print("  -> " + request)
            helper.stdin.write((request + "\n").encode())
            helper.stdin.flush()
            header, payload = read_record(helper.stdout)
            if header is None:
                print("  (helper ended)")
                break
            if header.get("type") == "windows":
                windows = header.get("windows", [])
            if payload:
                saved += 1
                ext = "png" if header.get("format") == "PNG" else "raw"
                path = os.path.join(out_dir, "frame-%d.%s" % (saved, ext))
                with open(path, "wb") as f:
                    f.write(payload)
                header = dict(header, saved_to=path)
            print("  <- " + json.dumps(header))
            time.sleep(0.01)
    helper.stdin.close()
    status = helper.wait()
    print("\nhelper exited with status %d" % status)


if __name__ == "__main__":
    main()

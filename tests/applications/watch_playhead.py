#!/usr/bin/env python3
"""Prints, as lines of JSON, where the playhead of an editing program is. It asks the program itself, through its accessibility interface.

{"frame": N} is printed when the frame is another one, {"still": N} when the program has answered the same so many times.
"""
import json
import os
import re
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

RATE = 25
ANSWERS_TILL_STILL = 25
TIMECODE = re.compile(r"(\d\d):(\d\d):(\d\d)[:;](\d\d)")


def below(accessible):
    """Yields the accessible and all that it holds. What goes meanwhile is left out."""
    yield accessible
    for index in range(accessible.get_child_count()):
        child = accessible.get_child_at_index(index)
        if child is not None:
            yield from below(child)


def frame_of(accessible):
    """None: it shows no timecode."""
    found = TIMECODE.fullmatch(Atspi.Text.get_text(accessible, 0, -1))
    if found is None:
        return None
    hours, minutes, seconds, frames = map(int, found.groups())
    return ((hours * 60 + minutes) * 60 + seconds) * RATE + frames


def is_timecode(accessible):
    return (accessible.get_role() == Atspi.Role.SPIN_BUTTON and accessible.get_state_set().contains(Atspi.StateType.SHOWING)
            and frame_of(accessible) is not None)


def timecode_of(process, dock):
    """The timecode in the dock of this name, or in the whole window. None: the program does not show it yet."""
    desktop = Atspi.get_desktop(0)
    for application in (desktop.get_child_at_index(index) for index in range(desktop.get_child_count())):
        if application is None or application.get_process_id() != process:
            continue
        for holder in below(application):
            if dock and holder.get_name() != dock:
                continue
            for accessible in below(holder):
                if is_timecode(accessible):
                    return accessible
    return None


def say(what, frame):
    print(json.dumps({what: frame}), flush=True)


def watch(timecode):
    last, answers = None, 0
    while True:
        frame = frame_of(timecode)
        if frame is None or frame != last:
            last, answers = frame, 0
            if frame is not None:
                say("frame", frame)
        answers += 1
        if answers == ANSWERS_TILL_STILL:
            say("still", last)
        time.sleep(0.02)


def main():
    process, dock = int(sys.argv[1]), sys.argv[2] if len(sys.argv) > 2 else ""
    Atspi.set_timeout(2000, 2000)  # milliseconds, also for a program that has just started
    try:
        timecode = timecode_of(process, dock)
        if timecode is not None:
            watch(timecode)
    except GLib.Error:
        pass  # the program is busy, or it changes what it shows
    # What was seen while the program starts is remembered, so look anew.
    time.sleep(0.5)
    os.execv(sys.executable, [sys.executable, *sys.argv])


if __name__ == "__main__":
    main()

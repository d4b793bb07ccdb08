"""Whether Blender's own keymap gives each shortcut of our map the meaning that the map counts on. The keymap is a Python program that runs
without Blender."""
import re
import runpy
import tomllib

# The operator and the properties that each of the map's keys must reach.
MEANINGS = {
    "play": ("screen.animation_play", {}),
    "reverse": ("screen.animation_play", {"reverse": True}),
    "stop": ("screen.animation_cancel", {}),
    "rewind": ("screen.frame_jump", {"end": False}),
    "fast-forward": ("screen.frame_jump", {"end": True}),
    "A": ("sequencer.strip_jump", {"next": False, "center": False}),
    "B": ("sequencer.strip_jump", {"next": True, "center": False}),
    "C": ("sequencer.split", {"type": "SOFT"}),
    "E": ("ed.undo", {}),
    "F": ("ed.redo", {}),
    "wheel forward": ("screen.frame_offset", {"delta": 1}),
    "wheel backward": ("screen.frame_offset", {"delta": -1}),
}
# What counts over the sequencer, the first that has the key first.
KEYMAPS = ("Sequencer", "SequencerCommon", "Frames", "Screen")
NAMES = {"escape": "ESC", "left": "LEFT_ARROW", "right": "RIGHT_ARROW", "page-up": "PAGE_UP", "page-down": "PAGE_DOWN"}
MODIFIERS = ("ctrl", "shift", "alt")


def strokes_of(file):
    """The shortcut of each key, and of the wheel."""
    content = tomllib.loads(file.read_text(encoding="utf-8"))
    strokes = {name: action["tap"] for name, action in content["keys"].items()}
    return strokes | {f"wheel {way}": stroke for way, stroke in content["wheel"].items()}


def default_of(preset, name):
    """What a preference of the keymap is in a new Blender."""
    return re.search(rf"\b{name}: EnumProperty\(.*?default='(\w+)'", preset.read_text(encoding="utf-8"), re.DOTALL)[1]


def keymaps_of(scripts):
    presets = scripts / "presets/keyconfig"
    program = runpy.run_path(str(presets / "keymap_data/blender_default.py"))
    space = default_of(presets / "Blender.py", "spacebar_action")
    keymaps = program["generate_keymaps"](program["Params"](spacebar_action=space))
    return {name: content["items"] for name, _, content in keymaps}


def meanings(keymaps, stroke):
    """What the first keymap that has the shortcut does with it."""
    *modifiers, key = stroke.split("+")
    kind = NAMES.get(key, key.upper())
    for name in KEYMAPS:
        found = [(operator, dict((more or {}).get("properties", []))) for operator, event, more in keymaps[name]
                 if event["type"] == kind and event["value"] == "PRESS"
                 and all(event.get(each, False) == (each in modifiers) for each in MODIFIERS)]
        if found:
            return found
    return []


def judge(file, scripts):
    """For each key that the map has or should have: its name, its shortcut, what Blender does with that, and whether it must be so.
    `scripts` is Blender's folder of scripts."""
    keymaps = keymaps_of(scripts)
    strokes = strokes_of(file)
    for name in sorted(MEANINGS.keys() | strokes.keys()):
        found = meanings(keymaps, strokes[name]) if name in strokes else []
        yield name, strokes.get(name), found, MEANINGS.get(name) in found

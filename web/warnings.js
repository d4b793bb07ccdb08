// What the driver ignores of a console, in words: of the one that is there, and of one that is about to take its place.

const restart = "The way out is to restart cvhost.";

/// Of the console that is active; empty for none.
export function warningOf(state) {
  if (state.link !== "active") return "";
  if (state.inputIgnored)
    return `The driver ignores this console's keys, ring and wheel and only sets its lamps: its firmware is version ${state.version}, and version 7 is needed.`;
  if (state.wheelIgnored)
    return `The driver ignores this console's ring and wheel: it has met a console of version 8 and now understands no other. Keys and lamps work. ${restart}`;
  return "";
}

/// Of a desk with this firmware; empty for none.
export function warningOfSwap(state, firmware) {
  if (firmware === 6) return "The driver ignores the keys, ring and wheel of version 6 and only sets its lamps.";
  if (firmware === 8 && !state.met8)
    return `The driver reads version 8 in another way, and keeps to it: from then on it ignores the ring and wheel of every other version. ${restart}`;
  if (firmware !== 8 && state.met8)
    return `The driver has met version 8 and ignores the ring and wheel of every other version. ${restart}`;
  return "";
}

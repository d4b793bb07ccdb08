// A console's key on its way to the kernel's input device, through a map.
#pragma once

#include <nlohmann/json.hpp>

namespace bench {

/// On USB serial ports, by turns: the host's handler for a key ("cvhost"), `cvhost run` with a map up to a reader of the
/// virtual keyboard ("map"), and a tap written to a virtual keyboard ("write"). As measureByTurns(); and last,
/// "run_on", of each round, from the last of 40 packets of the wheel, 10 ms apart, to the last press.
nlohmann::json measureMapByTurns(int rounds, int samples);

}  // namespace bench

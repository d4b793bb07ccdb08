// The memory of a run: every block that operator new hands out while a run lasts, in a place where it is never used twice.
// So what has been given back can be told from what is in use, and a block is at the same place in two runs that ask alike.
//
// Threads: those of a world.
#pragma once

#include <cstddef>
#include <cstdint>

namespace schedules::memory {

enum class State : unsigned char { unknown, live, ended };

/// From now on blocks are of the run.
void beginRun();
/// The number of the run's blocks that are still in use. When it is 0 the next run may begin.
std::size_t endRun();

inline constexpr std::size_t granule = 16;
inline constexpr std::size_t arenaBytes = std::size_t{64} << 20;
extern constinit unsigned char* arena;  // null before the first run
extern constinit State states[arenaBytes / granule];

/// What lies at `address`, as far as it belongs to a run.
inline State stateOf(const void* address) noexcept {
    const auto place = reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(arena);
    return place < arenaBytes && arena != nullptr ? states[place / granule] : State::unknown;
}

/// While it lives, blocks are not of the run: for what outlives it.
class Outside {
public:
    Outside() noexcept;
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;
    ~Outside();

private:
    bool m_wasInside;
};

/// What is called when a block is given back twice, with its address.
extern void (*endedTwice)(const void* block);

}  // namespace schedules::memory

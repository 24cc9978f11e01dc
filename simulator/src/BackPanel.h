// The table of the channels in use: the one that works, and the one that the generator starts with.
// Any thread.
#pragma once

#include "Bytes.h"

#include "fussim/Description.h"

#include <mutex>
#include <optional>

namespace fus {
namespace simulator {

class BackPanel {
public:
    explicit BackPanel(const Description& description);

    // What the generator works with when it has started.
    void boot();
    Wiring ram() const;
    std::optional<Wiring> flash() const;

    // --- commands, behind their number; all throw a Refusal or ShortData ---
    Bytes read(ByteReader& reader) const;
    void set(ByteReader& reader);
    void clear(ByteReader& reader);

private:
    const Description& m_description;

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    Wiring m_ram;
    std::optional<Wiring> m_flash;
};

} // namespace simulator
} // namespace fus

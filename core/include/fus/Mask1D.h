#pragma once

#include "fus/Export.h"

#include <cstddef>
#include <memory>

namespace fus {

/// A heap array of booleans, one byte each: which channels, boards or slots are meant.
///
/// Accesses by index raise ERR_INDEX at or beyond the size. A size that cannot be allocated raises
/// std::bad_alloc and changes nothing. Not locked: one thread at a time.
class FUS_API Mask1D {
public:
    /// What resize does with the entries that exist before and after.
    enum class ResizeExistingParam : int { LOST = 100, COPY = 101, SET_0 = 102, SET_1 = 103 };
    /// What resize does with the entries that are new.
    enum class ResizeExtraParam : int { RANDOM = 200, SET_0 = 201, SET_1 = 202 };

    /// Returned by the find operations when no entry has the value.
    static constexpr size_t NOT_FOUND = ~static_cast<size_t>(0);

    Mask1D() noexcept = default;
    Mask1D(size_t count, bool value);
    /// As setFromString.
    Mask1D(const char* text, size_t length);
    Mask1D(const Mask1D& other);
    Mask1D& operator=(const Mask1D& other);
    ~Mask1D() = default;

    void clear() noexcept;
    size_t size() const noexcept { return m_size; }
    /// Null if the mask is empty; valid until the size changes.
    const bool* data() const noexcept { return m_data.get(); }
    /// The number of entries that are true.
    size_t activeCount() const noexcept;

    bool get(size_t index) const;
    void set(size_t index, bool value);
    bool operator[](size_t index) const;
    bool& operator[](size_t index);

    void setAll(bool value) noexcept;
    /// A count of 0 does nothing. ERR_INDEX, with nothing set, if an end lies outside.
    void setRange(size_t start, size_t count, bool value);

    /// The first (last) position that holds the value, or NOT_FOUND.
    size_t findFirst(bool value) const noexcept;
    size_t findLast(bool value) const noexcept;

    /// Same size and same entries.
    bool operator==(const Mask1D& other) const noexcept;
    bool operator!=(const Mask1D& other) const noexcept { return !(*this == other); }
    /// Equal over the common range, and no true entry in what the longer one has beyond it.
    bool isComparable(const Mask1D& other) const noexcept;
    /// Entries 0 to 31 as bits 0 to 31; later ones are left out.
    unsigned asBitmask() const noexcept;

    /// ERR_ARGUMENT if either parameter is not one of its enumeration. When the count stays the
    /// same, only SET_0 and SET_1 of existing have an effect: they fill the whole mask.
    void resize(size_t count, ResizeExistingParam existing, ResizeExtraParam extra);

    /// One entry for each character '0' or '1'; others are skipped. The entries are counted among
    /// the first length characters of the text (0: the whole text). A null or empty text empties
    /// the mask.
    void setFromString(const char* text, size_t length);
    /// Writes the entries as '0' and '1', at most bufferSize - 1 of them, and a terminating zero.
    /// Returns how many were written. Nothing at all is written to a buffer of size 0.
    size_t toString(char* buffer, size_t bufferSize) const noexcept;

private:
    void checkIndex(size_t index) const;
    void replaceBlock(size_t count, ResizeExistingParam existing, ResizeExtraParam extra);

    size_t m_size = 0;
    std::unique_ptr<bool[]> m_data;
};

} // namespace fus

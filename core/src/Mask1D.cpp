#include "fus/Mask1D.h"

#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <new>
#include <utility>

namespace fus {

namespace {

using Existing = Mask1D::ResizeExistingParam;
using Extra = Mask1D::ResizeExtraParam;

constexpr size_t MAX_COUNT = size_t(1) << 62;

// Zeroed even where the content may be anything: a byte other than 0 and 1 is no bool.
std::unique_ptr<bool[]> newBlock(size_t count) {
    if (count > MAX_COUNT) {
        throw std::bad_alloc();
    }
    return std::unique_ptr<bool[]>(count == 0 ? nullptr : new bool[count]());
}

bool isEntry(char character) {
    return character == '0' || character == '1';
}

size_t countEntries(const char* text, size_t length) {
    size_t count = 0;
    for (size_t i = 0; text[i] != '\0' && (length == 0 || i < length); ++i) {
        count += isEntry(text[i]) ? 1U : 0U;
    }
    return count;
}

size_t lastIndex(size_t size) {
    return size == 0 ? 0 : size - 1;
}

} // namespace

Mask1D::Mask1D(size_t count, bool value) : m_size(count), m_data(newBlock(count)) {
    setAll(value);
}

Mask1D::Mask1D(const char* text, size_t length) {
    setFromString(text, length);
}

Mask1D::Mask1D(const Mask1D& other) : m_size(other.m_size), m_data(newBlock(other.m_size)) {
    std::copy_n(other.m_data.get(), m_size, m_data.get());
}

Mask1D& Mask1D::operator=(const Mask1D& other) {
    if (this != &other) {
        auto block = newBlock(other.m_size);
        std::copy_n(other.m_data.get(), other.m_size, block.get());
        m_data = std::move(block);
        m_size = other.m_size;
    }
    return *this;
}

void Mask1D::clear() noexcept {
    m_data.reset();
    m_size = 0;
}

size_t Mask1D::activeCount() const noexcept {
    return static_cast<size_t>(std::count(m_data.get(), m_data.get() + m_size, true));
}

bool Mask1D::get(size_t index) const {
    return (*this)[index];
}

void Mask1D::set(size_t index, bool value) {
    (*this)[index] = value;
}

bool Mask1D::operator[](size_t index) const {
    checkIndex(index);
    return m_data[index];
}

bool& Mask1D::operator[](size_t index) {
    checkIndex(index);
    return m_data[index];
}

void Mask1D::setAll(bool value) noexcept {
    std::fill_n(m_data.get(), m_size, value);
}

void Mask1D::setRange(size_t start, size_t count, bool value) {
    if (count == 0) {
        return;
    }
    if (start >= m_size) {
        FUS_THROW_INDEX("mask start index", start, lastIndex(m_size));
    }
    // Compared without the sum, which could wrap and pass.
    if (count > m_size - start) {
        const size_t end = count - 1 > NOT_FOUND - start ? NOT_FOUND : start + count - 1;
        FUS_THROW_INDEX("mask end index", end, lastIndex(m_size));
    }
    std::fill_n(m_data.get() + start, count, value);
}

size_t Mask1D::findFirst(bool value) const noexcept {
    const bool* end = m_data.get() + m_size;
    const bool* found = std::find(data(), end, value);
    return found == end ? NOT_FOUND : static_cast<size_t>(found - data());
}

size_t Mask1D::findLast(bool value) const noexcept {
    for (size_t i = m_size; i > 0; --i) {
        if (m_data[i - 1] == value) {
            return i - 1;
        }
    }
    return NOT_FOUND;
}

bool Mask1D::operator==(const Mask1D& other) const noexcept {
    return std::equal(data(), data() + m_size, other.data(), other.data() + other.m_size);
}

bool Mask1D::isComparable(const Mask1D& other) const noexcept {
    const Mask1D& longer = m_size < other.m_size ? other : *this;
    const Mask1D& shorter = m_size < other.m_size ? *this : other;
    const bool* surplus = longer.data() + shorter.m_size;
    return std::equal(shorter.data(), shorter.data() + shorter.m_size, longer.data()) &&
           std::find(surplus, longer.data() + longer.m_size, true) == longer.data() + longer.m_size;
}

unsigned Mask1D::asBitmask() const noexcept {
    unsigned bits = 0;
    for (unsigned i = 0; i < std::min<size_t>(m_size, 32); ++i) {
        bits |= static_cast<unsigned>(m_data[i]) << i;
    }
    return bits;
}

void Mask1D::resize(size_t count, ResizeExistingParam existing, ResizeExtraParam extra) {
    if (existing < Existing::LOST || existing > Existing::SET_1) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid value for 'existing' parameter.");
    }
    if (extra < Extra::RANDOM || extra > Extra::SET_1) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid value for 'extra' parameter.");
    }
    if (count != m_size) {
        replaceBlock(count, existing, extra);
    } else if (existing == Existing::SET_0 || existing == Existing::SET_1) {
        setAll(existing == Existing::SET_1);
    }
}

void Mask1D::replaceBlock(size_t count, ResizeExistingParam existing, ResizeExtraParam extra) {
    auto block = newBlock(count);
    const size_t common = std::min(count, m_size);
    if (existing == Existing::COPY) {
        std::copy_n(m_data.get(), common, block.get());
    } else {
        std::fill_n(block.get(), common, existing == Existing::SET_1);
    }
    std::fill_n(block.get() + common, count - common, extra == Extra::SET_1);
    m_data = std::move(block);
    m_size = count;
}

void Mask1D::setFromString(const char* text, size_t length) {
    const size_t count = text == nullptr ? 0 : countEntries(text, length);
    if (count != m_size) {
        m_data = newBlock(count);
        m_size = count;
    }
    for (size_t i = 0; i < count; ++text) {
        if (isEntry(*text)) {
            m_data[i++] = *text == '1';
        }
    }
}

size_t Mask1D::toString(char* buffer, size_t bufferSize) const noexcept {
    if (buffer == nullptr || bufferSize == 0) {
        return 0;
    }
    const size_t count = std::min(m_size, bufferSize - 1);
    for (size_t i = 0; i < count; ++i) {
        buffer[i] = m_data[i] ? '1' : '0';
    }
    buffer[count] = '\0';
    return count;
}

void Mask1D::checkIndex(size_t index) const {
    if (index >= m_size) {
        FUS_THROW_INDEX("mask index", index, lastIndex(m_size));
    }
}

} // namespace fus

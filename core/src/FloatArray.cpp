#include "fus/FloatArray.h"

#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <utility>

namespace fus {

namespace {

// An array new checks the size in bytes itself: too many elements fail, they never wrap.
std::unique_ptr<float[]> newBlock(size_t count) {
    return std::unique_ptr<float[]>(count == 0 ? nullptr : new float[count]());
}

std::unique_ptr<float[]> copyBlock(const float* data, size_t count) {
    if (data == nullptr) {
        return nullptr;
    }
    auto block = newBlock(count);
    std::copy_n(data, count, block.get());
    return block;
}

} // namespace

FloatArray::FloatArray(size_t count, float value) : m_size(count), m_data(newBlock(count)) {
    std::fill_n(m_data.get(), count, value);
}

FloatArray::FloatArray(const float* data, size_t count)
    : m_size(count), m_data(copyBlock(data, count)) {}

FloatArray::FloatArray(const FloatArray& other) : FloatArray(other.data(), other.size()) {}

FloatArray& FloatArray::operator=(const FloatArray& other) {
    if (this != &other) {
        m_data = copyBlock(other.data(), other.size());
        m_size = other.m_size;
    }
    return *this;
}

float FloatArray::get(size_t index) const {
    return (*this)[index];
}

void FloatArray::set(size_t index, float value) {
    (*this)[index] = value;
}

const float& FloatArray::operator[](size_t index) const {
    checkIndex(index);
    return m_data[index];
}

float& FloatArray::operator[](size_t index) {
    checkIndex(index);
    return m_data[index];
}

void FloatArray::resize(size_t count, bool keep) {
    if (count == m_size) {
        return;
    }
    auto block = newBlock(count);
    if (keep && m_data) {
        std::copy_n(m_data.get(), std::min(count, m_size), block.get());
    }
    m_data = std::move(block);
    m_size = count;
}

void FloatArray::checkIndex(size_t index) const {
    if (index >= m_size || !m_data) {
        FUS_THROW_INDEX("float array index", index, m_data ? m_size - 1 : 0);
    }
}

} // namespace fus

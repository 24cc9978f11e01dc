#pragma once

#include "fus/Export.h"

#include <cstddef>
#include <memory>

namespace fus {

/// A heap array of 32-bit floats. An empty array holds no block: data() is null.
///
/// Accesses by index raise ERR_INDEX at or beyond the size, and on an array that was built from a
/// null pointer. A size that cannot be allocated raises std::bad_alloc and changes nothing.
/// Not locked: one thread at a time.
class FUS_API FloatArray {
public:
    explicit FloatArray(size_t count = 0, float value = 0.0F);
    /// Copies count elements. From a null pointer the count is kept, without any elements.
    FloatArray(const float* data, size_t count);
    FloatArray(const FloatArray& other);
    FloatArray& operator=(const FloatArray& other);
    ~FloatArray() = default;

    size_t size() const noexcept { return m_size; }
    /// Valid until the next resize or assignment.
    const float* data() const noexcept { return m_data.get(); }

    float get(size_t index) const;
    void set(size_t index, float value);
    const float& operator[](size_t index) const;
    float& operator[](size_t index);

    /// Nothing happens if the count is the old one. Otherwise a new array replaces the old one;
    /// with keep the common part is copied, and what isn't copied has no defined content.
    void resize(size_t count, bool keep);

private:
    void checkIndex(size_t index) const;

    size_t m_size = 0;
    std::unique_ptr<float[]> m_data;
};

} // namespace fus

// SPDX-License-Identifier: BSD-3-Clause
// The one form of a volume in memory.
#pragma once

#include "volume/VolumeBox.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>

/// A three-dimensional volume with an allocated box and an inner region (the region of interest).
///
/// Both index ranges of an axis may start at any integer; an element is addressed by its own index values as
/// address()[z][y][x]. The elements lie in one contiguous block, x varying fastest, then y, then z, so that a
/// whole volume can be walked from block() on. Volumes made from image files start at 0 and have no margin.
///
/// A volume owns its memory. Copies are deep and never share it; a moved-from volume is empty. Element values
/// are undefined until they are written. Nothing here locks: threads may work on disjoint elements, while
/// construction, setup and assignment belong to one thread.
///
/// The documented fields are public for reading; only setup and assignment change them.
template <typename T>
class Array3D
{
public:
    /// Entry point of the index tables; null when the volume holds no memory.
    T*** m_p = nullptr;
    /// Extents of the allocated box.
    int m_nxTotal = 0, m_nyTotal = 0, m_nzTotal = 0;
    /// First indices of the allocated box.
    int m_xmin = 0, m_ymin = 0, m_zmin = 0;
    /// Extents of the inner region.
    int m_nx = 0, m_ny = 0, m_nz = 0;
    /// First indices of the inner region.
    int m_xbegin = 0, m_ybegin = 0, m_zbegin = 0;

    Array3D() = default;

    /// An Nx x Ny x Nz volume with indices from 0 and no margin; note the order z, y, x.
    Array3D(int Nz, int Ny, int Nx) { setDim(Nz, Ny, Nx); }

    /// A deep copy, margin included; the copy of an empty volume is empty.
    Array3D(const Array3D& A)
    {
        if (!A.isEmpty()) {
            *this = A;
        }
    }

    Array3D(Array3D&& A) noexcept { swap(A); }

    /// An empty volume takes over the memory and indices of A, which is empty afterwards. Everything else is
    /// as in a copy: values alone go into a volume that holds memory, under the same rules.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor): a replaced handler of ends may throw
    Array3D& operator=(Array3D&& A)
    {
        if (isEmpty() && !A.isEmpty()) {
            swap(A);
            return *this;
        }
        return *this = std::as_const(A);
    }

    ~Array3D() = default;

    /// (Re)allocates the volume with the given allocated box (min..max) and inner region (begin..end).
    ///
    /// What the volume held is released first, even when the arguments turn out bad. Ends the process with
    /// status 1 when an axis does not satisfy min <= begin <= end <= max ("Dimensions not good in X ", first
    /// bad axis only) or when the memory cannot be had (" Failed to allocate Memory ").
    void setup(int Xmin, int Xbegin, int Xend, int Xmax, int Ymin, int Ybegin, int Yend, int Ymax, int Zmin,
               int Zbegin, int Zend, int Zmax)
    {
        setup({Xmin, Xbegin, Xend, Xmax}, {Ymin, Ybegin, Yend, Ymax}, {Zmin, Zbegin, Zend, Zmax});
    }

    /// (Re)allocates an Nx x Ny x Nz volume with indices from 0 and no margin; note the order z, y, x.
    void setDim(int Nz, int Ny, int Nx)
    {
        setup(tonalign::axis_without_margin(Nx), tonalign::axis_without_margin(Ny),
              tonalign::axis_without_margin(Nz));
    }

    /// Index tables, used as address()[z][y][x]; null when empty.
    T*** address() const { return m_p; }

    /// The element at (z, y, x) after clamping each index into the allocated box; null when empty.
    T* data(int z, int y, int x) const
    {
        if (m_p == nullptr) {
            return nullptr;
        }
        return &m_p[std::clamp(z, m_zmin, getZmax())][std::clamp(y, m_ymin, getYmax())]
                   [std::clamp(x, m_xmin, getXmax())];
    }

    /// Start of the contiguous block: the element at the first corner of the allocated box.
    T* block() { return m_block.get(); }
    const T* block() const { return m_block.get(); }

    /// Number of elements of the allocated box.
    std::int64_t blockSize() const { return std::int64_t{m_nxTotal} * m_nyTotal * m_nzTotal; }

    /// Whether the inner region fills the allocated box, so that block() is the region of interest.
    bool hasNoMargin() const { return m_nx == m_nxTotal && m_ny == m_nyTotal && m_nz == m_nzTotal; }

    int getXmin() const { return m_xmin; }
    int getYmin() const { return m_ymin; }
    int getZmin() const { return m_zmin; }
    int getXmax() const { return m_xmin + (m_nxTotal - 1); }
    int getYmax() const { return m_ymin + (m_nyTotal - 1); }
    int getZmax() const { return m_zmin + (m_nzTotal - 1); }
    int getXbegin() const { return m_xbegin; }
    int getYbegin() const { return m_ybegin; }
    int getZbegin() const { return m_zbegin; }
    int getXend() const { return m_xbegin + (m_nx - 1); }
    int getYend() const { return m_ybegin + (m_ny - 1); }
    int getZend() const { return m_zbegin + (m_nz - 1); }
    int getNxTotal() const { return m_nxTotal; }
    int getNyTotal() const { return m_nyTotal; }
    int getNzTotal() const { return m_nzTotal; }
    int getNxInner() const { return m_nx; }
    int getNyInner() const { return m_ny; }
    int getNzInner() const { return m_nz; }

    bool isEmpty() const { return m_nxTotal == 0 || m_nyTotal == 0 || m_nzTotal == 0; }

    /// Whether begin and end agree with A's on all three axes.
    bool isInnerIndicesSame(const Array3D& A) const
    {
        return m_xbegin == A.m_xbegin && m_nx == A.m_nx && m_ybegin == A.m_ybegin && m_ny == A.m_ny &&
               m_zbegin == A.m_zbegin && m_nz == A.m_nz;
    }

    /// Whether begin, end, min and max agree with A's on all three axes.
    bool isInnerOuterIndicesSame(const Array3D& A) const
    {
        return isInnerIndicesSame(A) && m_xmin == A.m_xmin && m_nxTotal == A.m_nxTotal &&
               m_ymin == A.m_ymin && m_nyTotal == A.m_nyTotal && m_zmin == A.m_zmin &&
               m_nzTotal == A.m_nzTotal;
    }

    /// Copies A's values: all of them into an empty volume (which takes A's indices) or one with A's indices,
    /// the inner region alone when only the inner indices agree.
    ///
    /// Ends the process when A is empty (status 0) or the inner regions differ (status 1), each with two
    /// lines on standard error. A volume that holds memory is never resized.
    Array3D& operator=(const Array3D& A);

    /// Sets every element of the allocated box to k. This and the next two end the process with status 1
    /// and " Null array being initialized in assignment" when the volume holds no memory.
    Array3D& operator=(T k)
    {
        transformBlock([k](T) { return k; });
        return *this;
    }

    /// Adds k to every element of the allocated box.
    void operator+=(T k)
    {
        transformBlock([k](T value) { return value + k; });
    }

    /// Multiplies every element of the allocated box by k.
    void operator*=(T k)
    {
        transformBlock([k](T value) { return value * k; });
    }

    /// Largest element of the inner region; the first one met wins. The volume must hold memory.
    T getMaxValue() const
    {
        return scanInner([](T running, T value) { return value > running ? value : running; });
    }

    /// Smallest element of the inner region; the first one met wins. The volume must hold memory.
    T getMinValue() const
    {
        return scanInner([](T running, T value) { return value < running ? value : running; });
    }

    /// Copies A's inner region to the same indices of this volume, which must contain them.
    void copyInner(const Array3D& A)
    {
        copyRegion(A, A.m_xbegin, A.m_nx, A.m_ybegin, A.getYend(), A.m_zbegin, A.getZend());
    }

    /// Copies A's allocated box to the same indices of this volume, which must contain them.
    void copyInnerOuter(const Array3D& A)
    {
        copyRegion(A, A.m_xmin, A.m_nxTotal, A.m_ymin, A.getYmax(), A.m_zmin, A.getZmax());
    }

private:
    void setup(const tonalign::AxisRange& x, const tonalign::AxisRange& y, const tonalign::AxisRange& z);
    void swap(Array3D& other) noexcept;

    template <typename Function>
    void transformBlock(Function function)
    {
        if (m_p == nullptr) {
            tonalign::end_on_null_array();
        }
        std::transform(block(), block() + blockSize(), block(), function);
    }

    template <typename Function>
    T scanInner(Function pick) const
    {
        T running = m_p[m_zbegin][m_ybegin][m_xbegin];
        for (int z = m_zbegin; z <= getZend(); ++z) {
            for (int y = m_ybegin; y <= getYend(); ++y) {
                const T* row = &m_p[z][y][m_xbegin];
                for (int x = 0; x < m_nx; ++x) {
                    running = pick(running, row[x]);
                }
            }
        }
        return running;
    }

    void copyRegion(const Array3D& A, int xfirst, int nx, int yfirst, int ylast, int zfirst, int zlast)
    {
        for (int z = zfirst; z <= zlast; ++z) {
            for (int y = yfirst; y <= ylast; ++y) {
                std::copy_n(&A.m_p[z][y][xfirst], nx, &m_p[z][y][xfirst]);
            }
        }
    }

    std::unique_ptr<T[]> m_block;        ///< all elements
    std::unique_ptr<T*[]> m_rowTable;    ///< one pointer per (z, y) row, lowered by m_xmin
    std::unique_ptr<T**[]> m_sliceTable; ///< one pointer per slice, lowered by m_ymin
};

template <typename T>
void Array3D<T>::setup(const tonalign::AxisRange& x, const tonalign::AxisRange& y,
                       const tonalign::AxisRange& z)
{
    Array3D().swap(*this);
    tonalign::require_good_box(x, y, z);

    const std::int64_t nx = x.totalExtent();
    const std::int64_t ny = y.totalExtent();
    const std::int64_t nz = z.totalExtent();
    const std::int64_t count = tonalign::element_count(nx, ny, nz);
    // No allocation may exceed this; the array form of new throws beyond it, nothrow or not.
    constexpr std::int64_t largest_count =
        std::numeric_limits<std::ptrdiff_t>::max() / std::int64_t{std::max(sizeof(T), sizeof(T*))};
    if (std::max({nx, ny, nz}) > std::numeric_limits<int>::max() || count < 0 || count > largest_count) {
        tonalign::end_without_memory();
    }
    m_sliceTable.reset(new (std::nothrow) T**[static_cast<std::size_t>(nz)]);
    m_rowTable.reset(new (std::nothrow) T*[static_cast<std::size_t>(nz * ny)]);
    m_block.reset(new (std::nothrow) T[static_cast<std::size_t>(count)]);
    if (!m_sliceTable || !m_rowTable || !m_block) {
        tonalign::end_without_memory();
    }

    m_nxTotal = static_cast<int>(nx);
    m_nyTotal = static_cast<int>(ny);
    m_nzTotal = static_cast<int>(nz);
    m_xmin = x.min;
    m_ymin = y.min;
    m_zmin = z.min;
    m_nx = static_cast<int>(x.innerExtent());
    m_ny = static_cast<int>(y.innerExtent());
    m_nz = static_cast<int>(z.innerExtent());
    m_xbegin = x.begin;
    m_ybegin = y.begin;
    m_zbegin = z.begin;
    for (std::int64_t k = 0; k < nz * ny; ++k) {
        m_rowTable[static_cast<std::size_t>(k)] = m_block.get() + (k * nx - m_xmin);
    }
    for (std::int64_t i = 0; i < nz; ++i) {
        m_sliceTable[static_cast<std::size_t>(i)] = m_rowTable.get() + (i * ny - m_ymin);
    }
    m_p = m_sliceTable.get() - m_zmin;
}

template <typename T>
void Array3D<T>::swap(Array3D& other) noexcept
{
    std::swap(m_p, other.m_p);
    std::swap(m_nxTotal, other.m_nxTotal);
    std::swap(m_nyTotal, other.m_nyTotal);
    std::swap(m_nzTotal, other.m_nzTotal);
    std::swap(m_xmin, other.m_xmin);
    std::swap(m_ymin, other.m_ymin);
    std::swap(m_zmin, other.m_zmin);
    std::swap(m_nx, other.m_nx);
    std::swap(m_ny, other.m_ny);
    std::swap(m_nz, other.m_nz);
    std::swap(m_xbegin, other.m_xbegin);
    std::swap(m_ybegin, other.m_ybegin);
    std::swap(m_zbegin, other.m_zbegin);
    m_block.swap(other.m_block);
    m_rowTable.swap(other.m_rowTable);
    m_sliceTable.swap(other.m_sliceTable);
}

template <typename T>
Array3D<T>& Array3D<T>::operator=(const Array3D& A)
{
    if (A.isEmpty()) {
        tonalign::end_on_empty_source();
    }
    if (this == &A) {
        return *this;
    }
    if (isEmpty()) {
        setup({A.m_xmin, A.m_xbegin, A.getXend(), A.getXmax()},
              {A.m_ymin, A.m_ybegin, A.getYend(), A.getYmax()},
              {A.m_zmin, A.m_zbegin, A.getZend(), A.getZmax()});
        copyInnerOuter(A);
    } else if (isInnerOuterIndicesSame(A)) {
        copyInnerOuter(A);
    } else if (isInnerIndicesSame(A)) {
        copyInner(A);
    } else {
        tonalign::end_on_different_dimensions();
    }
    return *this;
}

// SPDX-License-Identifier: MIT
#pragma once

/// \file
/// Ownership of COM objects. Internal: not installed. Needs no header of Windows by itself.

/// \brief Releases a COM object at the end of the scope.
template<typename T>
class ComPointer
{
public:
    ComPointer() = default;
    ~ComPointer()
    {
        if (m_object)
            m_object->Release();
    }
    ComPointer(const ComPointer&) = delete;
    ComPointer& operator=(const ComPointer&) = delete;

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T** receive() { return &m_object; }

private:
    T* m_object = nullptr;
};

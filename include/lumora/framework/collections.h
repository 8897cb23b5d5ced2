// CArray and CPtrArray as the framework has them: index-checked growable
// arrays. A bad index throws CInvalidArgException, as the framework's
// AfxThrowInvalidArgException does.
#pragma once

#include <stdexcept>
#include <utility>
#include <vector>
#include <lumora/framework/win32.h>

class CInvalidArgException : public std::invalid_argument {
public:
    CInvalidArgException() : std::invalid_argument("invalid argument") {}
    explicit CInvalidArgException(const char* what) : std::invalid_argument(what) {}
};

template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray {
public:
    CArray() = default;
    virtual ~CArray() = default;
    CArray(const CArray&) = default;
    CArray& operator=(const CArray&) = default;

    int GetSize() const { return static_cast<int>(m_items.size()); }
    int GetCount() const { return GetSize(); }
    int GetUpperBound() const { return GetSize() - 1; }
    bool IsEmpty() const { return m_items.empty(); }

    void SetSize(int newSize, int /*growBy*/ = -1) {
        if (newSize < 0) throw CInvalidArgException("CArray::SetSize: negative size");
        m_items.resize(static_cast<size_t>(newSize));
    }

    const TYPE& GetAt(int i) const { return m_items[Checked(i)]; }
    TYPE& GetAt(int i) { return m_items[Checked(i)]; }
    void SetAt(int i, ARG_TYPE value) { m_items[Checked(i)] = value; }
    TYPE& ElementAt(int i) { return m_items[Checked(i)]; }
    const TYPE& ElementAt(int i) const { return m_items[Checked(i)]; }
    TYPE& operator[](int i) { return m_items[Checked(i)]; }
    const TYPE& operator[](int i) const { return m_items[Checked(i)]; }
    TYPE* GetData() { return m_items.data(); }
    const TYPE* GetData() const { return m_items.data(); }

    int Add(ARG_TYPE value) {
        m_items.push_back(value);
        return GetSize() - 1;
    }
    void SetAtGrow(int i, ARG_TYPE value) {
        if (i < 0) throw CInvalidArgException("CArray::SetAtGrow: negative index");
        if (i >= GetSize()) m_items.resize(static_cast<size_t>(i) + 1);
        m_items[static_cast<size_t>(i)] = value;
    }
    void InsertAt(int i, ARG_TYPE value, int count = 1) {
        if (i < 0 || count < 0) throw CInvalidArgException("CArray::InsertAt: bad index");
        if (i > GetSize()) m_items.resize(static_cast<size_t>(i));
        m_items.insert(m_items.begin() + i, static_cast<size_t>(count), value);
    }
    void RemoveAt(int i, int count = 1) {
        if (i < 0 || count < 0 || i + count > GetSize()) throw CInvalidArgException("CArray::RemoveAt: bad index");
        m_items.erase(m_items.begin() + i, m_items.begin() + i + count);
    }
    void RemoveAll() { m_items.clear(); }

private:
    size_t Checked(int i) const {
        if (i < 0 || i >= GetSize()) throw CInvalidArgException("CArray: index out of range");
        return static_cast<size_t>(i);
    }
    std::vector<TYPE> m_items;
};

// The framework's array of untyped pointers; it never owns what it points at.
class CPtrArray : public CArray<void*, void*> {};

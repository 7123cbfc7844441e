#pragma once
// Reads which virtual table slot a pointer to a virtual member function names, and the
// this-adjustment it carries, from the pointer's representation under the Itanium C++ ABI.
// The framework calls the service through fixed slots, so tests pin the slot order with it.
//
// A pointer to member function is the pair {ptr, adj}:
// - generic Itanium (x86, x86-64, ...): for a virtual function ptr is 1 + the slot's byte
//   offset in the virtual table and adj is the this-adjustment; a non-virtual function's ptr
//   is its (even) address.
// - ARM (32-bit and 64-bit) and MIPS: function addresses may be odd, so the virtual flag is
//   the low bit of adj instead (adj = 2 * this-adjustment + 1) and ptr is the byte offset.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if !defined(__GXX_ABI_VERSION)
#error "VirtualSlot.h reads pointers to member functions as laid out by the Itanium C++ ABI"
#endif

#if defined(__arm__) || defined(__aarch64__) || defined(__mips__)
#define DAS_VIRTUAL_FLAG_IN_ADJUSTMENT 1
#else
#define DAS_VIRTUAL_FLAG_IN_ADJUSTMENT 0
#endif

namespace virtual_slot {

constexpr int kNotVirtual = -1;

struct Representation {
    std::intptr_t ptr;
    std::ptrdiff_t adj;
};

template <typename Member>
Representation representationOf(Member member)
{
    static_assert(std::is_member_function_pointer_v<Member>, "a pointer to member function is needed");
    static_assert(sizeof(Member) == sizeof(Representation), "a pointer to member function is {ptr, adj}");
    Representation raw{};
    std::memcpy(&raw, &member, sizeof raw);
    return raw;
}

// The slot (0-based, counted in entries of the virtual table) that `member` names, or
// kNotVirtual for a non-virtual function. Overloads must be selected with a static_cast.
template <typename Member>
int slotOf(Member member)
{
    const Representation raw = representationOf(member);
    constexpr auto entrySize = static_cast<std::intptr_t>(sizeof(void*));
#if DAS_VIRTUAL_FLAG_IN_ADJUSTMENT
    if ((raw.adj & 1) == 0) return kNotVirtual;
    return static_cast<int>(raw.ptr / entrySize);
#else
    if ((raw.ptr & 1) == 0) return kNotVirtual;
    return static_cast<int>((raw.ptr - 1) / entrySize);
#endif
}

// The byte offset from the object to the subobject whose virtual table `member` uses: 0
// for the primary face; the base's offset for a base member converted to a derived class.
template <typename Member>
std::ptrdiff_t thisAdjustment(Member member)
{
    const Representation raw = representationOf(member);
#if DAS_VIRTUAL_FLAG_IN_ADJUSTMENT
    return raw.adj >> 1;
#else
    return raw.adj;
#endif
}

}  // namespace virtual_slot

#pragma once

// Values that a dump reads without taking their owner's lock while a request
// holding that lock may be writing them. Both sides go through these relaxed
// atomic accesses: the dump sees an old or a new value, never a torn one, and
// neither side races with the other.
template <typename T>
inline T loadRelaxed(const T& slot) {
    return __atomic_load_n(&slot, __ATOMIC_RELAXED);
}

template <typename T>
inline void storeRelaxed(T& slot, T value) {
    __atomic_store_n(&slot, value, __ATOMIC_RELAXED);
}

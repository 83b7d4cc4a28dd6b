#pragma once
// Random arrays for the bit-for-bit tests of the sweeps.

#include <random>
#include <vector>

inline void Fill(std::vector<float>& v, size_t n, std::mt19937& rng, float lo, float hi)
{
    std::uniform_real_distribution<float> d(lo, hi);
    v.resize(n);
    for (float& x : v)
        x = d(rng);
}

// A sponge table: 0 at the face, then any factor in (0.1, 1).
inline void RandomTaper(float (&taper)[38], std::mt19937& rng)
{
    std::uniform_real_distribution<float> d(0.1f, 1.0f);
    taper[0] = 0.0f;
    for (int i = 1; i < 38; i++)
        taper[i] = d(rng);
}

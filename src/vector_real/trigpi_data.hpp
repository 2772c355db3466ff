// generated, do not edit: /usr/bin/python3 tools/trigpi_coeffs.py > src/vector_real/trigpi_data.hpp
#pragma once

namespace nex::vtm::trigpi {

// sin: 7 terms, relative error of the series about 2^-66.2; cos: 7 terms, about 2^-71.0
inline constexpr double kHaSin[7] = {-0x1.5555555555555p-3, 0x1.1111111111110p-7, -0x1.a01a01a0196bcp-13, 0x1.71de3a5415c08p-19, -0x1.ae645394e2fcap-26, 0x1.61211e62d2a36p-33, -0x1.aae09b3e59826p-41};
inline constexpr double kHaCos[7] = {0x1.5555555555555p-5, -0x1.6c16c16c16c16p-10, 0x1.a01a01a019bf0p-16, -0x1.27e4fb76f18d7p-22, 0x1.1eed8db3999bcp-29, -0x1.939464103e9a7p-37, 0x1.ab473b0809a28p-45};

// sin: 6 terms, relative error of the series about 2^-55.5; cos: 6 terms, about 2^-60.1
inline constexpr double kLaSin[6] = {-0x1.5555555555554p-3, 0x1.11111111109c2p-7, -0x1.a01a019e122b8p-13, 0x1.71de3707fc816p-19, -0x1.ae5f7b15cd9f6p-26, 0x1.5dd8da8d0632cp-33};
inline constexpr double kLaCos[6] = {0x1.5555555555555p-5, -0x1.6c16c16c1686fp-10, 0x1.a01a019f15e29p-16, -0x1.27e4f9d081bc2p-22, 0x1.1eeb20e0ec369p-29, -0x1.904b576d7e75ap-37};

// sin: 4 terms, relative error of the series about 2^-35.3; cos: 3 terms, about 2^-29.8
inline constexpr double kEpSin[4] = {-0x1.5555555418fecp-3, 0x1.11110d4ca4244p-7, -0x1.a012d2e5ca6a5p-13, 0x1.6d7b3712f4c5ep-19};
inline constexpr double kEpCos[3] = {0x1.5555540989c5fp-5, -0x1.6c124f438f384p-10, 0x1.9b93ad8094c1cp-16};

// -1/6, the leading coefficient of the sine series, as a sum of two doubles.
inline constexpr double kSixthHi = -0x1.5555555555555p-3, kSixthLo = -0x1.5555555555555p-57;

// pi and pi/180 as sums of two doubles.
inline constexpr double kPiHi = 0x1.921fb54442d18p+1, kPiLo = 0x1.1a62633145c07p-53;
inline constexpr double kDegHi = 0x1.1df46a2529d39p-6, kDegLo = 0x1.5c1d8becdd291p-62;

// 2^j mod 45 for j = 0..11 (2 has order 12 modulo 45), for the exact
// reduction of huge integers modulo 360 = 8 * 45.
inline constexpr unsigned kPow2Mod45[12] = {1, 2, 4, 8, 16, 32, 19, 38, 31, 17, 34, 23};

}  // namespace nex::vtm::trigpi

// Coefficients of the rational pieces of the inverse error function
// (generated into erfinv_data.cpp by tools/erfinv_fit.py), lowest power
// first. P/Q of each piece; see the generator for the intervals and fits.
#pragma once

namespace nex::vtm::erfinv {

// erfinv(x) = x P(x^2) / Q(x^2) for |x| <= 0.6875.
extern const long double kCentralP[8];
extern const long double kCentralQ[8];
// The same coefficients rounded to double, for the packed single path.
extern const double kCentralPD[8];
extern const double kCentralQD[8];

// The packed double path: erfinv(x) = x (c + z P(z) / Q(z)), z = x^2, for
// |x| <= 0.5, with c = sqrt(pi)/2 (kLead) or, for the normal quantile,
// sqrt(pi/2) (kNormLead), each as a head of 26 bits and a tail.
extern const double kPackedP[6];
extern const double kPackedQ[6];
extern const double kLead[2];
extern const double kNormLead[2];

// erfcinv(q) = w P(w) / Q(w), w = sqrt(-ln q), on w in [1.0625, 3), [3, 7)
// and [7, 28].
extern const long double kTail1P[9];
extern const long double kTail1Q[9];
extern const long double kTail2P[9];
extern const long double kTail2Q[9];
extern const long double kTail3P[9];
extern const long double kTail3Q[9];

}  // namespace nex::vtm::erfinv

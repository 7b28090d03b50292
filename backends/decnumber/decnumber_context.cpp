#include "platform/decnumber.h"

namespace {

struct StatusName {
    std::uint32_t bit;
    char const *name;
};

constexpr StatusName kStatusNames[] = {
    {0, "No status"},
    {DEC_Conversion_syntax, "Conversion syntax"},
    {DEC_Division_by_zero, "Division by zero"},
    {DEC_Division_impossible, "Division impossible"},
    {DEC_Division_undefined, "Division undefined"},
    {DEC_Insufficient_storage, "Insufficient storage"},
    {DEC_Inexact, "Inexact"},
    {DEC_Invalid_context, "Invalid context"},
    {DEC_Invalid_operation, "Invalid operation"},
    {DEC_Lost_digits, "Lost digits"},
    {DEC_Overflow, "Overflow"},
    {DEC_Clamped, "Clamped"},
    {DEC_Rounded, "Rounded"},
    {DEC_Subnormal, "Subnormal"},
    {DEC_Underflow, "Underflow"},
};

}  // namespace

decContext *decContextDefault(decContext *context, std::int32_t kind) {
    *context = {DECSEXT_Pmax, DECSEXT_Emax, DECSEXT_Emin, DEC_ROUND_HALF_EVEN, 0, 0, 1};
    if (kind != DEC_INIT_DECIMAL192) context->status = DEC_Invalid_context;
    return context;
}

rounding decContextGetRounding(decContext const *context) { return context->round; }

decContext *decContextSetRounding(decContext *context, rounding round) {
    context->round = round;
    return context;
}

std::uint32_t decContextGetStatus(decContext const *context) { return context->status; }

decContext *decContextClearStatus(decContext *context, std::uint32_t bits) {
    context->status &= ~bits;
    return context;
}

decContext *decContextSetStatus(decContext *context, std::uint32_t bits) {
    context->status |= bits;
    return context;
}

char const *decContextStatusToString(decContext const *context) {
    for (StatusName const &status : kStatusNames) {
        if (status.bit == context->status) return status.name;
    }
    return context->status & (context->status - 1) ? "Multiple status" : "Unknown status";
}

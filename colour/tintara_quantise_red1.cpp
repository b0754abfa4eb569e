// The quantise members of red source 1.
#include "colour/tintara_quantise_body.h"

template <>
QuantiseMember RedMember<1>(int pattern) {
    return quantise::MembersOfRed<1>(std::make_integer_sequence<int, 8>{})[pattern];
}

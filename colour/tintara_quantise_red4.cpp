// The quantise members of red source 4.
#include "colour/tintara_quantise_body.h"

template <>
QuantiseMember RedMember<4>(int pattern) {
    return quantise::MembersOfRed<4>(std::make_integer_sequence<int, 8>{})[pattern];
}

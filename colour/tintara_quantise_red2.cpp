// The quantise members of red source 2.
#include "colour/tintara_quantise_body.h"

template <>
QuantiseMember RedMember<2>(int pattern) {
    return quantise::MembersOfRed<2>(std::make_integer_sequence<int, 8>{})[pattern];
}

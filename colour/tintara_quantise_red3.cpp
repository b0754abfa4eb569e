// The quantise members of red source 3.
#include "colour/tintara_quantise_body.h"

template <>
QuantiseMember RedMember<3>(int pattern) {
    return quantise::MembersOfRed<3>(std::make_integer_sequence<int, 8>{})[pattern];
}

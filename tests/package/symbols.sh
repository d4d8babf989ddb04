#!/usr/bin/env bash
# symbols.sh LIBRARY VERSION...: what one of our libraries shows to the dynamic linker. VERSION is what its
# soname must end in.
set -euo pipefail
library=$1 version=$2
fail() {
  echo "$(basename "$library"): $1" >&2
  exit 1
}

name=$(basename "$library")
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = "$name.$version" ] || fail "soname is $soname"

shown=$(nm -D --defined-only "$library" | awk '{print $NF}' | c++filt)
[ -n "$shown" ] || fail "shows nothing"
# Names that are ours, also inside of "vtable for ...", "operator==(...)" and return types.
[ "$name" = libH5Journal.so ] && own='H5(J|P|FD_journal)' internal_prefix='vfd' || own=gbb internal_prefix=H5
ours="($own|gbb|kda|omi|msfD|fesD|mem|err|cow|prc|hdf|ORXSim|UTI|DDB|_wassert|BtreeCompare|operator)"
foreign=$(grep -vE "^((non-virtual thunk to|virtual thunk to|vtable for|VTT for|typeinfo for|typeinfo name for|guard variable for|bool|void|int|auto|const) )*$ours" <<<"$shown" || true)
[ "$name" != libpdm-c.so ] || foreign=$(grep -v '^pdm_[a-z0-9_]*$' <<<"$shown" || true)
[ -z "$foreign" ] || fail "shows what is not ours: $(head -n 5 <<<"$foreign")"
internal=$(grep -E "^(${internal_prefix}|hdf_(ObjectRep|GroupRep|DatasetRep|Context|Shared|Operation)\b|gbb_(ObjectImpl|ChildrenOf|Children|BasePart|Readers|MapCodec|Codec)\b|[a-z]+D_[A-Za-z]+Impl::)" <<<"$shown" || true)
[ -z "$internal" ] || fail "shows internals: $(head -n 5 <<<"$internal")"

starts=$(nm "$library" | grep -E ' _GLOBAL__(sub_)?I_' || true)
[ -z "$starts" ] || fail "runs code when it is loaded: $starts"

# What a host instantiates for every schema class is in the library once.
if [ "$name" = libPDM_Core.so ]; then
  for class in $(sed -n 's/^\([a-z]*D_[A-Za-z]*\)Interface::StaticClass()$/\1/p' <<<"$shown"); do
    for operation in 'get(unsigned int) const' 'status() const'; do
      grep -qF "gbb_TypedLink<$class>::$operation" <<<"$shown" ||
        fail "has no gbb_TypedLink<$class>::$operation"
    done
  done
fi

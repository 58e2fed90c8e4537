#!/usr/bin/env bash
# What the shared library shows: every function that a host or a program may call, and nothing that
# is not the project's own.
set -euo pipefail
symbols=$(nm -DC --defined-only "$1" | sed 's/^[0-9a-f]* [A-Za-z] //' | sort -u)

fail=0
for name in GetNumberOfFlavors GetNumberOfQNFlavors SetFlavor GetFlavorProperty InitEncoder Encode \
    FreeEncoder InitDecoder Decode FreeDecoder init_malloc Bandwidth bad_lsf_ind bad_pitch_ind \
    nb_iter_selected running_vector_from_signs quel_encode quel_decode quel_encoder_create \
    quel_decoder_create quel_error_text 'quel::cod_swt(short const*, int*)' \
    'quel::dec_swt(int const*, short*, int)' 'quel::decoder_5k(int const*, short*, int)' \
    'quel::coder_wb16(int*)' 'quel::decod_wb(int const*, short*)' \
    'quel::syn_filt(float const*, int, float const*, float*, int, float*, int)'; do
  grep -qxF -- "$name" <<<"$symbols" || { echo "missing: $name"; fail=1; }
done

foreign=$(grep -vE '^(quel_|(vtable for |typeinfo for |typeinfo name for |guard variable for |TLS (init|wrapper) function for )?quel::|Get(NumberOf(QN)?Flavors|FlavorProperty)$|SetFlavor$|(Init|Free)(En|De)coder$|(En|De)code$|init_malloc$|Bandwidth$|bad_(lsf|pitch)_ind$|nb_iter_selected$|running_vector_from_signs$)' <<<"$symbols" || true)
if [[ -n $foreign ]]; then
  printf 'shown but not ours:\n%s\n' "$foreign"
  fail=1
fi
exit $fail

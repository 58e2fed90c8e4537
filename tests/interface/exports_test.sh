#!/usr/bin/env bash
# What the shared library shows: every function that a host or a program may call, and nothing that
# is not the project's own. What programs link has one version, the routines for study another.
set -euo pipefail
versioned=$(nm -DC --defined-only --with-symbol-versions "$1" | sed 's/^[0-9a-f]* [A-Za-z] //' |
  grep -vxE 'QUELCODEC_(STUDY_)?0(@@QUELCODEC_(STUDY_)?0)?' | sort -u)
symbols=$(sed 's/@@.*//' <<<"$versioned" | sort -u)

fail=0
while IFS= read -r name; do
  grep -qxF -- "$name" <<<"$symbols" || { echo "missing: $name"; fail=1; }
done <<'END'
GetNumberOfFlavors
GetNumberOfQNFlavors
SetFlavor
GetFlavorProperty
InitEncoder
Encode
FreeEncoder
InitDecoder
Decode
FreeDecoder
init_malloc
Bandwidth
bad_lsf_ind
bad_pitch_ind
nb_iter_selected
running_vector_from_signs
quel_version
quel_bitstream
quel_behaviour
quel_instruction_set
quel_instruction_set_name
quel_use_instruction_set
quel_flavor_info
quel_sampling_rate
quel_samples_per_frame
quel_frames_per_unit
quel_samples_per_unit
quel_bytes_per_unit
quel_delay
quel_error_text
quel_encoder_size
quel_encoder_init
quel_encoder_create
quel_encoder_destroy
quel_encoder_effort
quel_encoder_reset
quel_encoder_flavor
quel_encoder_voice_active
quel_encoder_unit_needed
quel_encode
quel_encode_units_bytes
quel_encode_units
quel_encode_units_float
quel_decoder_size
quel_decoder_init
quel_decoder_create
quel_decoder_destroy
quel_decoder_reset
quel_decoder_flavor
quel_decoder_max_samples
quel_decode
quel_decode_units_samples
quel_decode_units
quel_decode_units_float
quel_decoder_statistics
quel_receiver_size
quel_receiver_init
quel_receiver_create
quel_receiver_destroy
quel_receiver_reset
quel_receiver_push
quel_receiver_pull
quel_receiver_pull_float
quel_receiver_statistics
quel_unit_unpack
quel_unit_pack
quel_frame_describe
quel::CurFlavor
quel::initFlavor
quel::len_frame
quel::num_subfr
quel::len_past
quel::len_total
quel::gamma1
quel::gamma2
quel::gamma3
quel::gamma4
quel::gamma5
quel::gamma6
quel::fac_inter_var
quel::prmBits
quel::framesPerCycle
quel::outputBytes
quel::framesPerCall
quel::numPacketsMissing
quel::i_heap
quel::e_heap
quel::set_mode(int)
quel::initVXEncoder()
quel::freeVXEncoder()
quel::VXEncode(short const*, unsigned char*, unsigned int)
quel::initVXDecoder()
quel::freeVXDecoder()
quel::initVX5Decoder()
quel::freeVX5Decoder()
quel::VXDecode(unsigned char const*, short*, unsigned int, unsigned int*, unsigned int, int*)
quel::VX5Decode(unsigned char const*, short*, unsigned int, unsigned int*, unsigned int, int*)
quel::VX16Decode(unsigned char const*, short*, unsigned int, unsigned int*, unsigned int, int*)
quel::CProp::Create()
quel::CProp::GetProperty(unsigned short, unsigned short, unsigned short*)
quel::CUnixProp::_Imp_init()
quel::CUnixProp::_Imp_get_string(unsigned short, unsigned short, char*, int)
quel::snr(float const*, float const*, int)
quel::bitcopy(unsigned char*, unsigned char const*, int, int, int)
quel::prm2binary(int const*, unsigned char*, int)
quel::binary2prm(int*, unsigned char const*, int)
quel::TestBigEndian()
quel::SwapIntBytes(void*, int)
quel::prm2bits_wb(int const*, short*, int)
quel::bits2prm_wb(short const*, int*, int)
quel::int2bin(int, int, short*)
quel::bin2int(int, short const*)
quel::set_zero(float*, int)
quel::mvr2r(float const*, float*, int)
quel::convolve(float const*, float const*, float*, int)
quel::convolve16(float const*, float const*, float*, int)
quel::residu(float const*, int, float const*, float*, int)
quel::residu16(float const*, int, float const*, float*, int)
quel::syn_filt(float const*, int, float const*, float*, int, float*, int)
quel::syn_filt16(float const*, int, float const*, float*, int, float*, int)
quel::weight_a(float const*, float*, float, int)
quel::pondai(float const*, float*, float, int)
quel::updt_tar(float const*, float*, float const*, float, int)
quel::corr_xh(float const*, float*, float const*, int)
quel::backfil2(float const*, float*, float const*, int)
quel::corr_xy1(float const*, float const*, float*, int)
quel::corr_xy2(float const*, float const*, float const*, float*, int)
quel::invsqrt(double)
quel::inv_sqrt(float)
quel::hp_2nd(float*, int, float const*, float const*, float*, float*)
quel::lp_fir(float*, int, int)
quel::autocorr(float const*, float*, int, int, float const*)
quel::lag_wind(float*, int)
quel::lev_dur(float*, float const*, int)
quel::a2isp(float const*, float*, float const*, int)
quel::chebyshev2(float, float const*, int)
quel::isp2a(float const*, float*, int)
quel::get_isppol(float const*, float*, int)
quel::interpol_lpc(float const*, float const*, float*, int)
quel::init_q_isf_ma()
quel::q_isf_ma(float const*, float*, int*, int*)
quel::init_d_isf_ma()
quel::d_isf_ma(int const*, float*, int)
quel::reorder_isf(float*, float, int, float)
quel::lagmax(float const*, int, int, int, float*)
quel::pitch_ol(float const*, int)
quel::narrowband::norm_corr(float const*, float const*, float const*, int, int, float*)
quel::pitch_fr(float const*, float const*, float const*, int, int, int, int*)
quel::interpol(float const*, float*, float const*, int, int, int)
quel::pred_lt(float*, int, int, int)
quel::init_q_gain2()
quel::q_gain2(float const*, int, float*, float*, float const*, int)
quel::init_d_gain2()
quel::d_gain2(int, float const*, int, float*, float*, int, int)
quel::ACB_27(float*, float*, float const*, int*)
quel::ACB_15(float*, float*, float const*, int*)
quel::narrowband::cor_h_vec(float const*, float const*, int, float const*, float const*, float*)
quel::narrowband::search_ixiy(int, int, float*, float*, int*, int*, float const*, float const*, float const*, float const*, float const*)
quel::narrowband::search_ixiy(int, int, float*, float*, int*, int*, float const*, float const*, float const*, float const*)
quel::dec_ACB_27(int const*, float const*, float*)
quel::dec_ACB_15(int const*, float const*, float*)
quel::acb_2p10b(float const*, float const*, int*)
quel::acb_3p10b(float*, float const*, int*)
quel::dec_acb_2p10b(int, float const*, float*)
quel::dec_acb_3p10b(int, float const*, float*)
quel::init_cod_swt()
quel::cod_swt(short const*, int*)
quel::find_F(float const*, int, float*)
quel::find_exc(float*, float const*, float, float, int)
quel::init_dec_swt()
quel::dec_swt(int const*, short*, int)
quel::random_func()
quel::init_decoder_5k()
quel::decoder_5k(int const*, short*, int)
quel::init_preemph()
quel::preemph(float*, float, int)
quel::init_agc()
quel::agc(float const*, float*, int, float)
quel::hamm_cos(float*, int, int)
quel::autocorr16(float const*, float*, int, int, float const*)
quel::init_lag_wind(float, float, float, int)
quel::lag_wind16(float*, int)
quel::a2lsf(float const*, float*, float const*, int)
quel::chebyshev(float, float const*, int)
quel::init_grid()
quel::lsf2a(float const*, float*, int)
quel::get_lsfpol(float const*, float*, int)
quel::int_lpc(float const*, float const*, float*, int)
quel::q_lsp(float*, int*)
quel::VQ(float*, float const*, int, int)
quel::reorder_lsf(float*, float, int)
quel::d_lsp(int const*, float*, int)
quel::d_reorder_lsf(float*, float, int)
quel::pitch_ol16(float const*, int, int, int)
quel::lag_max(float const*, int, int, int, float*)
quel::pitchfr3(float const*, float const*, float const*, int, int, int*, int, int)
quel::wideband::norm_corr(float const*, float const*, float const*, int, int, float*, int)
quel::interpolation(float const*, int)
quel::pred_lt16(float*, int, int, int)
quel::enc_lag3(int, int, int*, int*, int, int, int)
quel::dec_lag3(int, int, int, int, int*, int)
quel::pit_shrp(float*, int, float, int)
quel::ACELP_45_85(float*, float const*, float const*, float*, float*, int*)
quel::wideband::cor_h_vec(float const*, float const*, int, float const*, float const*, float*)
quel::wideband::search_ixiy(int, int, float*, float*, int*, int*, float const*, float const*, float const*, float const*)
quel::DEC_ACELP_45_85(int const*, float*)
quel::get_gain(float const*, float const*, int)
quel::q_gain_pitch(float*)
quel::q_gain_code(float const*, int, float*)
quel::d_gain_pitch(int, int)
quel::d_gain_code(int, float const*, int, float*, int)
quel::q_gain_test(float const*, int, float, float*)
quel::init_coder_wb16()
quel::new_speech2()
quel::coder_wb16(int*)
quel::init_decod_wb()
quel::decod_wb(int const*, short*)
END

foreign=$(grep -vE '^(quel_|(vtable for |typeinfo for |typeinfo name for |guard variable for |TLS (init|wrapper) function for )?quel::|Get(NumberOf(QN)?Flavors|FlavorProperty)$|SetFlavor$|(Init|Free)(En|De)coder$|(En|De)code$|init_malloc$|Bandwidth$|bad_(lsf|pitch)_ind$|nb_iter_selected$|running_vector_from_signs$)' <<<"$symbols" || true)
if [[ -n $foreign ]]; then
  printf 'shown but not ours:\n%s\n' "$foreign"
  fail=1
fi

misplaced=$(grep -F quel:: <<<"$versioned" | grep -v '@@QUELCODEC_STUDY_0$' || true
  grep -vF quel:: <<<"$versioned" | grep -v '@@QUELCODEC_0$' || true)
if [[ -n $misplaced ]]; then
  printf 'of another version:\n%s\n' "$misplaced"
  fail=1
fi
exit $fail

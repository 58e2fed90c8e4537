#include "interface/process_codec.h"

#include <algorithm>
#include <cstdlib>

#include "narrowband/find_F.h"
#include "narrowband/random_func.h"
#include "quelcodec/quelcodec.h"
#include "wideband/autocorr16.h"

extern "C" {

extern const char Bandwidth[22] = "6500,8500,5000,16000";
std::int32_t bad_lsf_ind = 0;
std::int32_t bad_pitch_ind = 0;
std::int32_t nb_iter_selected = 2;
std::int32_t running_vector_from_signs = 0;

}  // extern "C"

namespace quel {

FrameEncoder process_encoder;
FrameDecoder process_decoder;
Mode process_mode;

std::uint16_t CurFlavor = 4;
std::int32_t framesPerCall = 8;
std::byte* e_heap = nullptr;
std::array<float, lsf_grid_points> lsf_grid{};
SnrTotals snr_totals;

constinit std::int32_t& initFlavor = process_mode.initFlavor;
constinit std::int32_t& len_frame = process_mode.len_frame;
constinit std::int32_t& num_subfr = process_mode.num_subfr;
constinit std::int32_t& len_past = process_mode.len_past;
constinit std::int32_t& len_total = process_mode.len_total;
constinit float& gamma1 = process_mode.gamma1;
constinit float& gamma2 = process_mode.gamma2;
constinit float& gamma3 = process_mode.gamma3;
constinit float& gamma4 = process_mode.gamma4;
constinit float& gamma5 = process_mode.gamma5;
constinit float& gamma6 = process_mode.gamma6;
constinit float& fac_inter_var = process_mode.fac_inter_var;
constinit std::int32_t& prmBits = process_mode.prmBits;
constinit std::int32_t& framesPerCycle = process_mode.framesPerCycle;
constinit std::int32_t& outputBytes = process_mode.outputBytes;
constinit std::int32_t& numPacketsMissing = process_decoder.numPacketsMissing;

namespace {

AcelpSettings acelp_settings() {
  return {::nb_iter_selected, ::running_vector_from_signs};
}

// The switches are plain variables that a host may turn at any time.
FrameEncoder& encoder() {
  process_encoder.wideband.settings = acelp_settings();
  return process_encoder;
}

FrameDecoder& decoder() {
  process_decoder.bad_lsf_ind = ::bad_lsf_ind;
  process_decoder.bad_pitch_ind = ::bad_pitch_ind;
  return process_decoder;
}

GainTest gain_test;

}  // namespace

void set_mode(std::int32_t flavor) {
  set_mode(process_mode, flavor);
}

std::int32_t initVXEncoder() {
  return initVXEncoder(process_encoder);
}
void VXEncode(const std::int16_t* in, std::uint8_t* out, std::uint32_t flavor) {
  VXEncode(encoder(), process_mode, in, out, flavor);
}
std::int32_t initVXDecoder() {
  return initVXDecoder(process_decoder);
}
std::int32_t initVX5Decoder() {
  return initVX5Decoder(process_decoder);
}
void VXDecode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
              std::uint32_t flavor, std::int32_t* samples) {
  VXDecode(decoder(), process_mode, in, out, bytes, mask, flavor, samples);
}
void VX5Decode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
               std::uint32_t flavor, std::int32_t* samples) {
  VX5Decode(decoder(), process_mode, in, out, bytes, mask, flavor, samples);
}
void VX16Decode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
                std::uint32_t flavor, std::int32_t* samples) {
  VX16Decode(decoder(), process_mode, in, out, bytes, mask, flavor, samples);
}

void init_cod_swt() {
  init_cod_swt(process_encoder.narrowband);
}
void cod_swt(const std::int16_t* speech, std::int32_t* prm) {
  cod_swt(process_encoder.narrowband, process_mode, speech, prm);
}
void find_F(const float* A, int T0, float* F) {
  find_F(process_mode, A, T0, F);
}
void init_q_isf_ma() {
  init_q_isf_ma(process_encoder.narrowband.isf);
}
void q_isf_ma(const float* isp, float* isp_q, std::int32_t* indices, std::int32_t* flag) {
  q_isf_ma(process_encoder.narrowband.isf, isp, isp_q, indices, flag);
}
void init_q_gain2() {
  init_q_gain2(process_encoder.narrowband.gains);
}
std::int32_t q_gain2(const float* code, int L, float* gain_pit, float* gain_code,
                     const float* g_coeff, int flag) {
  return q_gain2(process_encoder.narrowband.gains, code, L, gain_pit, gain_code, g_coeff, flag);
}

void init_dec_swt() {
  init_dec_swt(process_decoder.swt, process_decoder.shared);
  init_decoder_5k();
  init_decod_wb();
}
void dec_swt(const std::int32_t* prm, std::int16_t* synth, int bfi) {
  dec_swt(process_decoder.swt, process_decoder.shared, process_mode, prm, synth, bfi);
}
void init_decoder_5k() {
  init_decoder_5k(process_decoder.five_k, process_decoder.shared);
}
void decoder_5k(const std::int32_t* prm, std::int16_t* synth, int bfi_in) {
  decoder_5k(process_decoder.five_k, process_decoder.shared, process_mode, prm, synth, bfi_in);
}
std::int16_t random_func() {
  return random_func(process_decoder.shared.seed);
}
void init_d_isf_ma() {
  init_d_isf_ma(process_decoder.shared.isf);
}
void d_isf_ma(const std::int32_t* indices, float* isp_q, int mode) {
  d_isf_ma(process_decoder.shared.isf, indices, isp_q, mode);
}
void init_d_gain2() {
  init_d_gain2(process_decoder.shared.gains);
}
void d_gain2(int index, const float* code, int L, float* gain_pit, float* gain_code, int bfi,
             int i_subfr) {
  d_gain2(process_decoder.shared.gains, index, code, L, gain_pit, gain_code, bfi, i_subfr,
          process_mode.fac_inter_var);
}
void init_preemph() {
  init_preemph(process_decoder.five_k.preemphasis);
}
void preemph(float* x, float mu, int n) {
  preemph(process_decoder.five_k.preemphasis, x, mu, n);
}
void init_agc() {
  init_agc(process_decoder.five_k.gain_control);
}
void agc(const float* ref, float* x, int n, float fac) {
  agc(process_decoder.five_k.gain_control, ref, x, n, fac);
}

void init_coder_wb16() {
  init_coder_wb16(process_encoder.wideband);
}
float* new_speech2() {
  return new_speech2(process_encoder.wideband);
}
void coder_wb16(std::int32_t* prm) {
  coder_wb16(encoder().wideband, prm);
}
void lp_fir(float* sig, int lg, int step) {
  lp_fir(process_encoder.wideband.decimator, sig, lg, step);
}
void init_lag_wind(float f0, float fs, float noise, int m) {
  auto& window = process_encoder.wideband.lag_window;
  init_lag_wind(window.data(), f0, fs, noise,
                std::clamp(m, 0, static_cast<int>(window.size()) - 1));
}
void lag_wind16(float* r, int m) {
  lag_wind16(process_encoder.wideband.lag_window.data(), r, m);
}
void init_grid() {
  init_grid(lsf_grid.data());
}
void q_lsp(float* lsp, std::int32_t* prm) {
  q_lsp(process_encoder.wideband.lsf, lsp, prm);
}
void ACELP_45_85(float* dn, const float* cn, const float* h, float* code, float* y,
                 std::int32_t* indices) {
  ACELP_45_85(process_encoder.wideband.acelp, acelp_settings(), dn, cn, h, code, y, indices);
}
void wideband::search_ixiy(int track_x, int track_y, float* ps, float* alp, std::int32_t* ix,
                           std::int32_t* iy, const float* dn, const float* cor_x,
                           const float* cor_y, const float* rrixiy) {
  search_ixiy(process_encoder.wideband.acelp, track_x, track_y, ps, alp, ix, iy, dn, cor_x, cor_y,
              rrixiy);
}
int q_gain_code(const float* code, int L, float* gain) {
  return q_gain_code(process_encoder.wideband.gains, code, L, gain);
}
double q_gain_test(const float* code, int L, float gain, float* en) {
  return q_gain_test(gain_test, code, L, gain, en);
}

void init_decod_wb() {
  init_decod_wb(process_decoder.wideband);
}
void decod_wb(const std::int32_t* prm, std::int16_t* out) {
  decod_wb(process_decoder.wideband, prm, out, ::bad_lsf_ind, ::bad_pitch_ind);
}
void d_lsp(const std::int32_t* prm, float* lsp, int bfi) {
  d_lsp(process_decoder.wideband.lsf, prm, lsp, bfi);
}
int dec_lag3(int index, int pit_min, int pit_max, int i_subfr, int* frac, int bfi) {
  return dec_lag3(process_decoder.wideband.lag, index, pit_min, pit_max, i_subfr, frac, bfi);
}
double d_gain_pitch(int index, int bfi) {
  return d_gain_pitch(process_decoder.wideband.gains, index, bfi);
}
void d_gain_code(int index, const float* code, int L, float* gain, int bfi) {
  d_gain_code(process_decoder.wideband.gains, index, code, L, gain, bfi);
}

void snr(const float* x, const float* y, int L) {
  snr(snr_totals, x, y, L);
}

}  // namespace quel

void* init_malloc() {
  constexpr std::size_t block = 8192;
  auto* first = static_cast<std::byte*>(std::malloc(block));
  auto* second = static_cast<std::byte*>(std::malloc(block));
  if (first == nullptr || second == nullptr) {
    std::free(first);
    std::free(second);
    return nullptr;
  }
  quel::i_heap = first + quel::scratch_bytes;
  quel::e_heap = second + quel::scratch_bytes;
  return quel::e_heap;
}

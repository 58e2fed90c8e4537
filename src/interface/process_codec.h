#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "dsp/snr.h"
#include "interface/frame_driver.h"
#include "wideband/a2lsf.h"

// The one encoder, decoder and mode record that a host of the plug-in sees, and the codec routines
// in the form that works on them, argument for argument. One thread at a time.

namespace quel {

extern FrameEncoder process_encoder;
extern FrameDecoder process_decoder;
extern Mode process_mode;

/// Flavor selected by the host; 4, which is none, at load.
extern std::uint16_t CurFlavor;
/// Coded units per Encode; 8 at load, set by InitEncoder.
extern std::int32_t framesPerCall;
/// Top of the second scratch area of init_malloc; null until then.
extern std::byte* e_heap;

/// Root-search grid of init_grid; zeros at load.
extern std::array<float, lsf_grid_points> lsf_grid;

// Members of the mode record and of the decoder under the names by which hosts know them.
extern std::int32_t& initFlavor;
extern std::int32_t& len_frame;
extern std::int32_t& num_subfr;
extern std::int32_t& len_past;
extern std::int32_t& len_total;
extern float& gamma1;
extern float& gamma2;
extern float& gamma3;
extern float& gamma4;
extern float& gamma5;
extern float& gamma6;
extern float& fac_inter_var;
extern std::int32_t& prmBits;
extern std::int32_t& framesPerCycle;
extern std::int32_t& outputBytes;
extern std::int32_t& numPacketsMissing;

void set_mode(std::int32_t flavor);

// Frame drivers.
std::int32_t initVXEncoder();
void VXEncode(const std::int16_t* in, std::uint8_t* out, std::uint32_t flavor);
std::int32_t initVXDecoder();
std::int32_t initVX5Decoder();
void VXDecode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
              std::uint32_t flavor, std::int32_t* samples);
void VX5Decode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
               std::uint32_t flavor, std::int32_t* samples);
void VX16Decode(const std::uint8_t* in, std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask,
                std::uint32_t flavor, std::int32_t* samples);

// Narrowband encoder.
void init_cod_swt();
void cod_swt(const std::int16_t* speech, std::int32_t* prm);
void find_F(const float* A, int T0, float* F);
void init_q_isf_ma();
void q_isf_ma(const float* isp, float* isp_q, std::int32_t* indices, std::int32_t* flag);
void init_q_gain2();
std::int32_t q_gain2(const float* code, int L, float* gain_pit, float* gain_code,
                     const float* g_coeff, int flag);

// Narrowband decoders. init_dec_swt resets every decoder of the process, the wideband one included.
void init_dec_swt();
void dec_swt(const std::int32_t* prm, std::int16_t* synth, int bfi);
void init_decoder_5k();
void decoder_5k(const std::int32_t* prm, std::int16_t* synth, int bfi_in);
std::int16_t random_func();
void init_d_isf_ma();
void d_isf_ma(const std::int32_t* indices, float* isp_q, int mode);
void init_d_gain2();
void d_gain2(int index, const float* code, int L, float* gain_pit, float* gain_code, int bfi,
             int i_subfr);
void init_preemph();
void preemph(float* x, float mu, int n);
void init_agc();
void agc(const float* ref, float* x, int n, float fac);

// Wideband encoder.
void init_coder_wb16();
float* new_speech2();
void coder_wb16(std::int32_t* prm);
void lp_fir(float* sig, int lg, int step);
/// Fills the encoder's lag window, which `lag_wind16` and `coder_wb16` apply until the next
/// init_coder_wb16; m above 16 acts as 16, below 0 as 0.
void init_lag_wind(float f0, float fs, float noise, int m);
/// m <= 16
void lag_wind16(float* r, int m);
/// Fills `lsf_grid`. `a2lsf` has a constant grid of the same values, so that it works without.
void init_grid();
void q_lsp(float* lsp, std::int32_t* prm);
void ACELP_45_85(float* dn, const float* cn, const float* h, float* code, float* y,
                 std::int32_t* indices);
namespace wideband {
/// The preselected samples are those of the encoder's last ACELP_45_85.
void search_ixiy(int track_x, int track_y, float* ps, float* alp, std::int32_t* ix,
                 std::int32_t* iy, const float* dn, const float* cor_x, const float* cor_y,
                 const float* rrixiy);
}  // namespace wideband
int q_gain_code(const float* code, int L, float* gain);
double q_gain_test(const float* code, int L, float gain, float* en);

// Wideband decoder.
void init_decod_wb();
void decod_wb(const std::int32_t* prm, std::int16_t* out);
void d_lsp(const std::int32_t* prm, float* lsp, int bfi);
int dec_lag3(int index, int pit_min, int pit_max, int i_subfr, int* frac, int bfi);
double d_gain_pitch(int index, int bfi);
void d_gain_code(int index, const float* code, int L, float* gain, int bfi);

/// Totals of the process-wide `snr`.
extern SnrTotals snr_totals;
void snr(const float* x, const float* y, int L);

}  // namespace quel

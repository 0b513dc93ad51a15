#include "media/codec_names.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <array>

namespace {

struct CodecName {
  const char* name;
  std::int32_t id;
};

// The names are libavcodec's own, but for "mpeg2" and what it has renamed. The row without a name
// ends the table.
constexpr std::array<CodecName, 82> CodecNameTable{{
    {"dts", AV_CODEC_ID_DTS},
    {"ac3", AV_CODEC_ID_AC3},
    {"mp3", AV_CODEC_ID_MP3},
    {"mp3adu", AV_CODEC_ID_MP3ADU},
    {"mp3on4", AV_CODEC_ID_MP3ON4},
    {"mp2", AV_CODEC_ID_MP2},
    {"aac", AV_CODEC_ID_AAC},
    {"aac_latm", AV_CODEC_ID_AAC_LATM},
    {"vorbis", AV_CODEC_ID_VORBIS},
    {"wmav1", AV_CODEC_ID_WMAV1},
    {"wmav2", AV_CODEC_ID_WMAV2},
    {"flac", AV_CODEC_ID_FLAC},
    {"mjpeg", AV_CODEC_ID_MJPEG},
    {"mpeg4", AV_CODEC_ID_MPEG4},
    {"h264", AV_CODEC_ID_H264},
    {"mpeg2", AV_CODEC_ID_MPEG2VIDEO},
    {"vc1", AV_CODEC_ID_VC1},
    {"wmv3", AV_CODEC_ID_WMV3},
    {"rv40", AV_CODEC_ID_RV40},
    {"eac3", AV_CODEC_ID_EAC3},
    {"truehd", AV_CODEC_ID_TRUEHD},
    {"mp1", AV_CODEC_ID_MP1},
    {"cook", AV_CODEC_ID_COOK},
    {"alac", AV_CODEC_ID_ALAC},
    {"dvaudio", AV_CODEC_ID_DVAUDIO},
    {"vmdaudio", AV_CODEC_ID_VMDAUDIO},
    {"amr_nb", AV_CODEC_ID_AMR_NB},
    {"amr_wb", AV_CODEC_ID_AMR_WB},
    {"pcm_s16le", AV_CODEC_ID_PCM_S16LE},
    {"pcm_s16be", AV_CODEC_ID_PCM_S16BE},
    {"pcm_u16le", AV_CODEC_ID_PCM_U16LE},
    {"pcm_u16be", AV_CODEC_ID_PCM_U16BE},
    {"pcm_s8", AV_CODEC_ID_PCM_S8},
    {"pcm_u8", AV_CODEC_ID_PCM_U8},
    {"pcm_mulaw", AV_CODEC_ID_PCM_MULAW},
    {"pcm_alaw", AV_CODEC_ID_PCM_ALAW},
    {"pcm_s32le", AV_CODEC_ID_PCM_S32LE},
    {"pcm_s32be", AV_CODEC_ID_PCM_S32BE},
    {"pcm_u32le", AV_CODEC_ID_PCM_U32LE},
    {"pcm_u32be", AV_CODEC_ID_PCM_U32BE},
    {"pcm_s24le", AV_CODEC_ID_PCM_S24LE},
    {"pcm_s24be", AV_CODEC_ID_PCM_S24BE},
    {"pcm_u24le", AV_CODEC_ID_PCM_U24LE},
    {"pcm_u24be", AV_CODEC_ID_PCM_U24BE},
    {"pcm_s24daud", AV_CODEC_ID_PCM_S24DAUD},
    {"pcm_zork", AV_CODEC_ID_PCM_ZORK},
    {"pcm_s16le_planar", AV_CODEC_ID_PCM_S16LE_PLANAR},
    {"pcm_dvd", AV_CODEC_ID_PCM_DVD},
    {"pcm_f32be", AV_CODEC_ID_PCM_F32BE},
    {"pcm_f32le", AV_CODEC_ID_PCM_F32LE},
    {"pcm_f64be", AV_CODEC_ID_PCM_F64BE},
    {"pcm_f64le", AV_CODEC_ID_PCM_F64LE},
    {"pcm_bluray", AV_CODEC_ID_PCM_BLURAY},
    {"adpcm_ima_qt", AV_CODEC_ID_ADPCM_IMA_QT},
    {"adpcm_ima_wav", AV_CODEC_ID_ADPCM_IMA_WAV},
    {"adpcm_ima_dk3", AV_CODEC_ID_ADPCM_IMA_DK3},
    {"adpcm_ima_dk4", AV_CODEC_ID_ADPCM_IMA_DK4},
    {"adpcm_ima_ws", AV_CODEC_ID_ADPCM_IMA_WS},
    {"adpcm_ima_smjpeg", AV_CODEC_ID_ADPCM_IMA_SMJPEG},
    {"adpcm_ms", AV_CODEC_ID_ADPCM_MS},
    {"adpcm_4xm", AV_CODEC_ID_ADPCM_4XM},
    {"adpcm_xa", AV_CODEC_ID_ADPCM_XA},
    {"adpcm_adx", AV_CODEC_ID_ADPCM_ADX},
    {"adpcm_ea", AV_CODEC_ID_ADPCM_EA},
    {"adpcm_g726", AV_CODEC_ID_ADPCM_G726},
    {"adpcm_ct", AV_CODEC_ID_ADPCM_CT},
    {"adpcm_swf", AV_CODEC_ID_ADPCM_SWF},
    {"adpcm_yamaha", AV_CODEC_ID_ADPCM_YAMAHA},
    {"adpcm_sbpro_4", AV_CODEC_ID_ADPCM_SBPRO_4},
    {"adpcm_sbpro_3", AV_CODEC_ID_ADPCM_SBPRO_3},
    {"adpcm_sbpro_2", AV_CODEC_ID_ADPCM_SBPRO_2},
    {"adpcm_thp", AV_CODEC_ID_ADPCM_THP},
    {"adpcm_ima_amv", AV_CODEC_ID_ADPCM_IMA_AMV},
    {"adpcm_ea_r1", AV_CODEC_ID_ADPCM_EA_R1},
    {"adpcm_ea_r3", AV_CODEC_ID_ADPCM_EA_R3},
    {"adpcm_ea_r2", AV_CODEC_ID_ADPCM_EA_R2},
    {"adpcm_ima_ea_sead", AV_CODEC_ID_ADPCM_IMA_EA_SEAD},
    {"adpcm_ima_ea_eacs", AV_CODEC_ID_ADPCM_IMA_EA_EACS},
    {"adpcm_ea_xas", AV_CODEC_ID_ADPCM_EA_XAS},
    {"adpcm_ea_maxis_xa", AV_CODEC_ID_ADPCM_EA_MAXIS_XA},
    {"adpcm_ima_iss", AV_CODEC_ID_ADPCM_IMA_ISS},
    {nullptr, AV_CODEC_ID_NONE},
}};

constexpr bool IdsAreUnique() {
  for (std::size_t i = 0; i < CodecNameTable.size(); ++i) {
    for (std::size_t j = i + 1; j < CodecNameTable.size(); ++j) {
      if (CodecNameTable[i].id == CodecNameTable[j].id) return false;
    }
  }
  return true;
}
static_assert(IdsAreUnique());
static_assert(CodecNameTable[80].name != nullptr && CodecNameTable[81].name == nullptr);

}  // namespace

std::string GetCodecName(std::int32_t codecId) {
  if (codecId < 0) return "";
  const CodecName* row = CodecNameTable.data();
  while (row->name != nullptr && row->id != codecId) ++row;
  return row->name == nullptr ? "" : row->name;
}

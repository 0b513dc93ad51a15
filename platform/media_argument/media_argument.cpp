#include "platform/media_argument/media_argument.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

bool LibOrvaVTE::ArgumentHelper::AbleToDecodeAudioByCodec(const std::string& codec) {
  const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(codec.c_str());
  return descriptor != nullptr && descriptor->type == AVMEDIA_TYPE_AUDIO &&
         avcodec_find_decoder(descriptor->id) != nullptr;
}

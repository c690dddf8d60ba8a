#include "platform/bufstream/BufStreamSource.h"

namespace cvx {

namespace {

BufStreamSource* sourceOf(bufstream_tt* bs) { return static_cast<BufStreamSource*>(bs->privateData); }

uint32_t copyEntry(bufstream_tt* bs, uint8_t* data, uint32_t size) { return sourceOf(bs)->copyBytes(data, size); }
uint32_t auxEntry(bufstream_tt* bs, uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  return sourceOf(bs)->auxInfo(offset, infoId, infoPtr, infoSize);
}
void doneEntry(bufstream_tt* bs, int abort) { sourceOf(bs)->done(abort); }
void freeEntry(bufstream_tt* bs) { delete sourceOf(bs); }
uint32_t noBytes(bufstream_tt*) { return 0; }
uint8_t* noRequest(bufstream_tt*, uint32_t) { return nullptr; }
uint32_t noConfirm(bufstream_tt*, uint32_t) { return 0; }
void* selfEntry(bufstream_tt* bs) { return bs->privateData; }

}  // namespace

BufStreamSource::BufStreamSource() {
  record.usableBytes = noBytes;
  record.request = noRequest;
  record.confirm = noConfirm;
  record.copybytes = copyEntry;
  record.freeRoom = noBytes;
  record.auxinfo = auxEntry;
  record.self = selfEntry;
  record.done = doneEntry;
  record.free = freeEntry;
  record.dataWords[2] = 1;
  record.privateData = this;
}

}  // namespace cvx

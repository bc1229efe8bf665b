tesk_fuzz(dst_decode dst_decode_fuzz.cpp tesk_dst)
tesk_fuzz(dst_encode dst_encode_fuzz.cpp tesk_dst)

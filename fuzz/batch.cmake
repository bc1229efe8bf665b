tesk_fuzz(naming_pattern naming_pattern_fuzz.cpp tesk_batch)
tesk_fuzz(batch_config batch_config_fuzz.cpp tesk_batch)

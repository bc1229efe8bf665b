tesk_fuzz(sacd sacd_fuzz.cpp tesk_reader)

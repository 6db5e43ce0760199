#pragma once

#include <QString>

/**
 * Notes as people write them, about @p utf8Bytes long in UTF-8: paragraphs
 * of English prose with punctuation, contractions, numbers and dates, and
 * now and then a paragraph that mixes in Japanese. The same every time.
 */
QString realisticText(qsizetype utf8Bytes);

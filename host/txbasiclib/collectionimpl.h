#pragma once

#include "txbasiclib/collections.h"

namespace Tamrin::TesseraBasic {

/// Collections around a stack, which is shared, not copied. The stack has to fit: see FitsTable and its like.
boost::shared_ptr<Table> WrapTable(const boost::shared_ptr<KgdaBaseDataStack>& stack);
boost::shared_ptr<Matrix> WrapMatrix(const boost::shared_ptr<KgdaBaseDataStack>& stack);
boost::shared_ptr<Scalar> WrapScalar(const boost::shared_ptr<KgdaBaseDataStack>& stack);
/// The same around a stack that is moved in.
boost::shared_ptr<Table> MakeTable(KgdaBaseDataStack stack);
boost::shared_ptr<Matrix> MakeMatrix(KgdaBaseDataStack stack);
boost::shared_ptr<Scalar> MakeScalar(KgdaBaseDataStack stack);

/// One row instead of one column is made a column in place. False where it is neither.
bool FitsTable(KgdaBaseDataStack& stack);
bool FitsScalar(const KgdaBaseDataStack& stack);

}  // namespace Tamrin::TesseraBasic
